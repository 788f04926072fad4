/// \file containers.h
/// The library's own containers and the algorithms that stand on them.
///
///  - YVector<T>: a growing array of values. Writing past the end through the
///    non-const operator[] grows it; reading past the end of a const vector
///    gives the `fill` value. A `prim` vector moves its elements by copying
///    bytes and keeps every unused slot zero.
///  - YArrayData / YArray<T>: an array of pointers to separately allocated
///    elements, which the YArray owns.
///  - YList<T>: a singly linked list with a `hint` node that spares walks.
///  - YHashTable<T>: a chained hash table; YHashTable<YString> is a set of
///    strings blind to letter case.
///  - YRef<T>: a shared pointer with a plain (not atomic) count.
///  - Buf and CharQueue: text accumulators, the second with a read position.
///  - sp_BinarySearch, sp_GetSortMap and the set operations sp_SetUnion,
///    sp_SetIntersect and sp_SetDifference.
///
/// None of these types is safe for concurrent use: a container, and every
/// YRef sharing one object, belongs to one thread at a time.
#ifndef KVSUPPORT_CONTAINERS_H
#define KVSUPPORT_CONTAINERS_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

class complex;

/// Throws the MemoryException of an exhausted YVector: the detail text is
/// "Detected in YVector<%s>::" followed by \p operation ("alloc" or
/// "allocPrim"), with the readable name of \p elementType in place of %s.
[[noreturn]] KVSUPPORT_API void sp_ThrowVectorExhausted(const char *operation, const std::type_info &elementType);

// ---------------------------------------------------------------------------
// YVector

/// A growing array of values of type T.
///
/// The fields are public for reading (a derived container, such as a queue
/// built on the vector's storage, may also manage them); change `size` and
/// `capacity` only through resize(). `fill` may be set at any time.
///
/// With `prim` the elements live in a plain heap block (from allocPrim),
/// are moved with memcpy and never constructed, and all unused slots are
/// zero; element types of 16 bytes or more are aligned to 16. `prim` can only
/// be set for trivially copyable element types aligned to at most 16 bytes;
/// asking for it on another type gives an ordinary vector. Without `prim`,
/// elements are real objects from the virtual alloc(), and elements that
/// leave the vector are overwritten with `fill`. A vector's default `prim` is
/// true exactly where it can be set.
///
/// Exhaustion raises MemoryException with the text
/// "Detected in YVector<type>::alloc" or "...::allocPrim".
template <typename T>
class YVector {
public:
    /// \p n elements (size and capacity \p n). With \p prim the elements are a
    /// zero-filled block from allocPrim, otherwise default-constructed objects.
    explicit YVector(unsigned int n = 0, bool prim = std::is_trivially_copyable<T>::value && alignof(T) <= 16)
        : data(nullptr), raw(nullptr), size(0), capacity(0),
          prim(prim && std::is_trivially_copyable<T>::value && alignof(T) <= 16), fill()
    {
        if (n != 0)
            data = this->prim ? zeroedPrim(n) : alloc(n);
        size = capacity = n;
    }

    /// A copy holding \p other's elements, its `prim` flag and its `fill`.
    YVector(const YVector &other) : YVector(0, other.prim)
    {
        fill = other.fill;
        copyFrom(other);
    }

    /// Takes over \p other's storage; \p other is left empty.
    YVector(YVector &&other) noexcept
        : data(other.data), raw(other.raw), size(other.size), capacity(other.capacity), prim(other.prim),
          fill(other.fill)
    {
        other.data = nullptr;
        other.raw = nullptr;
        other.size = other.capacity = 0;
    }

    /// Replaces the elements by copies of \p other's, and takes its `fill`.
    YVector &operator=(const YVector &other)
    {
        if (this != &other) {
            fill = other.fill;
            resize(0);
            copyFrom(other);
        }
        return *this;
    }

    /// Frees the storage: with `prim` the heap block `raw`, otherwise the
    /// element array through free().
    virtual ~YVector()
    {
        if (prim)
            std::free(raw);
        else
            free(data);
    }

    /// The element at \p i; an index at or past the end first grows the
    /// vector to i + 1 elements.
    T &operator[](unsigned int i)
    {
        if (i >= size)
            growTo(i);
        return data[i];
    }

    /// The element at \p i, or `fill` for an index at or past the end (the
    /// vector does not grow).
    const T &operator[](unsigned int i) const { return i < size ? data[i] : fill; }

    /// Changes the number of elements to \p n.
    ///
    /// Shrinking zeroes (prim) or overwrites with `fill` the elements that go
    /// and keeps the capacity. Growing past the capacity makes it
    /// `size / 2 + n` and moves the elements to a new array.
    void resize(unsigned int n)
    {
        if (n <= size) {
            shrinkTo(n);
            return;
        }
        if (capacity < n)
            reallocate(size / 2 + n < n ? n : size / 2 + n);
        size = n;
    }

    /// Appends \p value at the end (same as `v[v.size] = value`).
    void append(const T &value)
    {
        if (size < capacity) {
            data[size] = value;
            ++size;
            return;
        }
        T copy(value); // value may live inside the block that growth frees
        growTo(size);
        data[size - 1] = std::move(copy);
    }

    /// Same as append(), for code written against the standard containers.
    void push_back(const T &value) { append(value); }

    /// Number of elements as an int (the field `size` is unsigned).
    int count() const { return static_cast<int>(size); }
    /// True when there are no elements.
    bool isEmpty() const { return size == 0; }
    /// Empties the vector (resize(0)); the capacity stays.
    void clear() { resize(0); }

    /// First element, for range-based loops.
    T *begin() { return data; }
    /// One past the last element.
    T *end() { return data + size; }
    /// First element, for range-based loops.
    const T *begin() const { return data; }
    /// One past the last element.
    const T *end() const { return data + size; }

    T *data;               ///< the first element (null while nothing is allocated)
    void *raw;             ///< with `prim`, the heap block that holds `data`
    unsigned int size;     ///< number of elements
    unsigned int capacity; ///< number of allocated elements
    bool prim;             ///< elements are moved by copying bytes
    T fill;                ///< value for elements that leave and for reads past the end

protected:
    /// An array of \p n default-constructed elements. Any failure of the
    /// allocation becomes MemoryException ("...::alloc").
    virtual T *alloc(unsigned int n)
    {
        try {
            return new T[n];
        } catch (...) {
            sp_ThrowVectorExhausted("alloc", typeid(T));
        }
    }

    /// Destroys and releases an array of alloc(); null is ignored.
    virtual void free(T *p) { delete[] p; }

    /// A plain heap block for \p n elements, its address stored in `raw`;
    /// null when the vector is not `prim`. Elements of 16 bytes or more start
    /// at the next multiple of 16 strictly above the block address. A heap
    /// failure raises MemoryException ("...::allocPrim"). The block is not
    /// cleared here.
    T *allocPrim(unsigned int n)
    {
        if (!prim)
            return nullptr;
        const std::size_t pad = sizeof(T) >= 16 ? 16 : 0;
        void *block = std::malloc(static_cast<std::size_t>(n) * sizeof(T) + pad + (n == 0 && pad == 0));
        if (block == nullptr)
            sp_ThrowVectorExhausted("allocPrim", typeid(T));
        raw = block;
        if (pad == 0)
            return static_cast<T *>(block);
        std::uintptr_t address = reinterpret_cast<std::uintptr_t>(block);
        return reinterpret_cast<T *>((address + 16) & ~static_cast<std::uintptr_t>(15));
    }

private:
    T *zeroedPrim(unsigned int n)
    {
        T *p = allocPrim(n);
        std::memset(static_cast<void *>(p), 0, static_cast<std::size_t>(n) * sizeof(T));
        return p;
    }

#if defined(__GNUC__)
    __attribute__((noinline, cold))
#endif
    void growTo(unsigned int i)
    {
        if (i + 1 == 0) // 2^32 elements can't be counted
            sp_ThrowVectorExhausted(prim ? "allocPrim" : "alloc", typeid(T));
        resize(i + 1);
    }

    void shrinkTo(unsigned int n)
    {
        if (prim) {
            if (n < size)
                std::memset(static_cast<void *>(data + n), 0, static_cast<std::size_t>(size - n) * sizeof(T));
        } else {
            for (unsigned int i = n; i < size; ++i)
                data[i] = fill;
        }
        size = n;
    }

    void reallocate(unsigned int newCapacity)
    {
        if (prim && sizeof(T) < 16) {
            // The block is the array itself: growing it in place when the
            // heap can spares the copy.
            void *block = std::realloc(raw, static_cast<std::size_t>(newCapacity) * sizeof(T));
            if (block == nullptr)
                sp_ThrowVectorExhausted("allocPrim", typeid(T));
            raw = block;
            data = static_cast<T *>(block);
            std::memset(static_cast<void *>(data + size), 0,
                        static_cast<std::size_t>(newCapacity - size) * sizeof(T));
        } else if (prim) {
            void *oldBlock = raw;
            T *fresh = allocPrim(newCapacity);
            if (size != 0)
                std::memcpy(static_cast<void *>(fresh), static_cast<const void *>(data),
                            static_cast<std::size_t>(size) * sizeof(T));
            std::memset(static_cast<void *>(fresh + size), 0,
                        static_cast<std::size_t>(newCapacity - size) * sizeof(T));
            std::free(oldBlock);
            data = fresh;
        } else {
            T *fresh = alloc(newCapacity);
            try {
                for (unsigned int i = size; i-- > 0;)
                    fresh[i] = std::move(data[i]);
            } catch (...) {
                free(fresh);
                throw;
            }
            free(data);
            data = fresh;
        }
        capacity = newCapacity;
    }

    void copyFrom(const YVector &other)
    {
        resize(other.size);
        for (unsigned int i = 0; i < other.size; ++i)
            data[i] = other.data[i];
    }
};

// ---------------------------------------------------------------------------
// YArrayData / YArray

/// The untemplated core of YArray<T>: an array of pointers with a count.
/// It never owns what the pointers lead to; YArray<T> does.
///
/// The core is not copyable: two cores sharing one pointer array would both
/// free it. YArray<T> copies by duplicating its elements.
class KVSUPPORT_API YArrayData {
public:
    /// Capacity \p n (at least 1), a zeroed pointer array, count 0, growth 1.5.
    explicit YArrayData(int n);
    /// Frees the pointer array only.
    ~YArrayData();
    YArrayData(const YArrayData &) = delete;
    YArrayData &operator=(const YArrayData &) = delete;

    /// Inserts \p item at \p index, clamped to 0..count, moving the later
    /// pointers up. When full, the capacity becomes (int)(capacity * growth),
    /// or count + 1 if that is not more than the count. Returns the index
    /// where the item went.
    int addDataAt(void *item, int index);
    /// If the capacity is below \p n, discards the pointer array (without
    /// keeping its contents) and makes a zeroed one of exactly \p n. Meant for
    /// an empty array before it is filled.
    void checkAlloc(int n);
    /// Removes the pointer at \p index, moving the later ones down; the item
    /// itself is not destroyed. An index outside 0..count-1 does nothing.
    void removeDataItemAt(int index);

    double growth;  ///< capacity factor when the array is full (1.5)
    void **data;    ///< the pointer array
    int count;      ///< number of pointers in use
    int capacity;   ///< number of pointers allocated
};

/// An array of separately allocated elements of type T, owned by the array.
///
/// The non-const operator[] grows the array as YVector does: while the index
/// is not below the count, a default T is added at the end. Elements never
/// move in memory; only their pointers do. The core's fields can be read
/// through the array; add items with add() or insertAt(), not through the
/// core's addDataAt(), since the array deletes every item it points to.
template <typename T>
class YArray : public YArrayData {
public:
    /// Empty, with room for \p n pointers (at least 1).
    explicit YArray(int n = 10) : YArrayData(n) {}
    /// Copies \p other's elements (each one a new object) and its growth.
    YArray(const YArray &other) : YArrayData(other.count) { copyFrom(other); }
    /// Destroys the elements, from the last to the first, then frees the
    /// pointer array.
    ~YArray() { clear(); }

    /// Replaces the elements by copies of \p other's.
    YArray &operator=(const YArray &other)
    {
        if (this != &other) {
            clear();
            copyFrom(other);
        }
        return *this;
    }

    /// The element at \p i; an index at or past the count first adds default
    /// elements up to it. A negative index gives a scratch element that is
    /// not in the array.
    T &operator[](int i)
    {
        if (i < 0)
            return scratch();
        while (i >= count)
            add(T());
        return *static_cast<T *>(data[i]);
    }

    /// The element at \p i, or a default element for an index out of range.
    const T &operator[](int i) const { return at(i); }

    /// The element at \p i, or a default element for an index out of range.
    const T &at(int i) const
    {
        static const T empty{};
        return i >= 0 && i < count ? *static_cast<const T *>(data[i]) : empty;
    }

    /// Appends a copy of \p value; returns its index.
    int add(const T &value) { return insertAt(count, value); }
    /// Inserts a copy of \p value at \p index (clamped to 0..count); returns
    /// the index where it went.
    int insertAt(int index, const T &value)
    {
        T *item = new T(value);
        try {
            return addDataAt(item, index);
        } catch (...) {
            delete item;
            throw;
        }
    }
    /// Destroys and removes the element at \p index; an index out of range
    /// does nothing.
    void removeAt(int index)
    {
        if (index < 0 || index >= count)
            return;
        T *item = static_cast<T *>(data[index]);
        removeDataItemAt(index);
        delete item;
    }
    /// Destroys all the elements, from the last to the first, and empties the
    /// array; the pointer array stays.
    void clear()
    {
        while (count > 0) {
            --count;
            delete static_cast<T *>(data[count]);
            data[count] = nullptr;
        }
    }

    /// Number of elements.
    int getCount() const { return count; }
    /// True when there are no elements.
    bool isEmpty() const { return count == 0; }

    /// Sorts the elements by \p less (a strict weak order), keeping the
    /// order of equal elements.
    template <typename Less>
    void sort(Less less)
    {
        std::stable_sort(data, data + count, [&less](void *a, void *b) {
            return less(*static_cast<const T *>(a), *static_cast<const T *>(b));
        });
    }

    /// Index of the first element equal to \p value (operator==), or -1.
    int indexOf(const T &value) const
    {
        for (int i = 0; i < count; ++i)
            if (*static_cast<const T *>(data[i]) == value)
                return i;
        return -1;
    }

private:
    static T &scratch()
    {
        static thread_local T spare;
        spare = T();
        return spare;
    }

    void copyFrom(const YArray &other)
    {
        growth = other.growth;
        checkAlloc(other.count);
        for (int i = 0; i < other.count; ++i)
            add(*static_cast<const T *>(other.data[i]));
    }
};

// ---------------------------------------------------------------------------
// YList

template <typename T, typename Traits>
class YHashTable;

/// A singly linked list of values of type T. There is no tail pointer:
/// append() walks from `hint` (the node last appended, or another node of
/// the list) to the end; prepend() links at the head.
template <typename T>
class YList {
public:
    /// One node: the value, then the next node.
    struct Node {
        T value;    ///< the element
        Node *next; ///< the following node, null at the end
    };

    /// Forward iterator over the values.
    template <typename N, typename V>
    class BasicIterator {
    public:
        using iterator_category = std::forward_iterator_tag; ///< standard iterator category
        using value_type = typename std::remove_const<V>::type; ///< element type
        using difference_type = std::ptrdiff_t; ///< distance type
        using pointer = V *; ///< pointer to an element
        using reference = V &; ///< reference to an element

        /// An iterator at \p node (null is the end).
        explicit BasicIterator(N *node = nullptr) : node(node) {}
        /// The value.
        V &operator*() const { return node->value; }
        /// The value's members.
        V *operator->() const { return &node->value; }
        /// Steps to the next node.
        BasicIterator &operator++()
        {
            node = node->next;
            return *this;
        }
        /// Steps to the next node; returns the iterator as it was.
        BasicIterator operator++(int)
        {
            BasicIterator before = *this;
            ++*this;
            return before;
        }
        /// True at the same node.
        bool operator==(const BasicIterator &other) const { return node == other.node; }
        /// True at different nodes.
        bool operator!=(const BasicIterator &other) const { return node != other.node; }

    private:
        N *node;
    };
    /// Iterator giving modifiable values.
    using iterator = BasicIterator<Node, T>;
    /// Iterator giving const values.
    using const_iterator = BasicIterator<const Node, const T>;

    /// An empty list.
    YList() : head(nullptr), hint(nullptr), count(0) {}
    /// A copy of \p other's values in the same order.
    YList(const YList &other) : YList() { appendAll(other); }
    /// Deletes the nodes.
    ~YList() { clear(); }
    /// Replaces the values by copies of \p other's, in the same order.
    YList &operator=(const YList &other)
    {
        if (this != &other) {
            clear();
            appendAll(other);
        }
        return *this;
    }

    /// Links a copy of \p value after the last node and makes it the hint.
    void append(const T &value)
    {
        Node *node = new Node{value, nullptr};
        Node *last = hint != nullptr ? hint : head;
        if (last == nullptr) {
            head = node;
        } else {
            while (last->next != nullptr)
                last = last->next;
            last->next = node;
        }
        hint = node;
        ++count;
    }

    /// Links a copy of \p value at the head.
    void prepend(const T &value) { linkAtHead(new Node{value, nullptr}); }

    /// Deletes every node in order and sets all fields to 0.
    void clear()
    {
        while (head != nullptr) {
            Node *next = head->next;
            delete head;
            head = next;
        }
        hint = nullptr;
        count = 0;
    }

    /// Removes the first node whose value equals \p value (operator==).
    /// True if one was removed.
    bool remove(const T &value)
    {
        for (Node **link = &head; *link != nullptr; link = &(*link)->next) {
            if ((*link)->value == value) {
                unlink(link);
                return true;
            }
        }
        return false;
    }

    /// Removes the first node. False for an empty list.
    bool removeFirst()
    {
        if (head == nullptr)
            return false;
        unlink(&head);
        return true;
    }

    /// The first value equal to \p value (operator==), or null.
    T *find(const T &value)
    {
        for (Node *n = head; n != nullptr; n = n->next)
            if (n->value == value)
                return &n->value;
        return nullptr;
    }

    /// The value at position \p i (0 is the head), or null out of range.
    T *at(int i)
    {
        if (i < 0 || i >= count)
            return nullptr;
        Node *n = head;
        while (i-- > 0)
            n = n->next;
        return &n->value;
    }
    /// The value at position \p i, or null out of range.
    const T *at(int i) const { return const_cast<YList *>(this)->at(i); }

    /// The first value, or null for an empty list.
    T *first() { return head != nullptr ? &head->value : nullptr; }
    /// The first value, or null for an empty list.
    const T *first() const { return head != nullptr ? &head->value : nullptr; }
    /// Number of values.
    int getCount() const { return count; }
    /// True when there are no values.
    bool isEmpty() const { return count == 0; }

    /// Iterator at the head.
    iterator begin() { return iterator(head); }
    /// The end iterator.
    iterator end() { return iterator(); }
    /// Iterator at the head.
    const_iterator begin() const { return const_iterator(head); }
    /// The end iterator.
    const_iterator end() const { return const_iterator(); }

protected:
    Node *head; ///< first node
    Node *hint; ///< a node of the list (the last appended); null when empty
    int count;  ///< number of nodes

private:
    template <typename, typename>
    friend class YHashTable;

    void linkAtHead(Node *node)
    {
        node->next = head;
        head = node;
        if (hint == nullptr)
            hint = node;
        ++count;
    }

    Node *takeHead()
    {
        Node *node = head;
        head = node->next;
        node->next = nullptr;
        if (hint == node)
            hint = head;
        --count;
        return node;
    }

    void unlink(Node **link)
    {
        Node *node = *link;
        *link = node->next;
        if (hint == node)
            hint = head;
        delete node;
        --count;
    }

    void appendAll(const YList &other)
    {
        for (const Node *n = other.head; n != nullptr; n = n->next)
            append(n->value);
    }
};

// ---------------------------------------------------------------------------
// YHashTable

/// How YHashTable hashes and compares its values: by default the value's
/// own `hashValue()` and `operator==`. Specialise it for other rules.
template <typename T>
struct YHashTraits {
    /// The hash of \p value.
    static unsigned int hash(const T &value) { return static_cast<unsigned int>(value.hashValue()); }
    /// True when \p a and \p b are the same key.
    static bool equal(const T &a, const T &b) { return a == b; }
};

/// YString keys hash with YString::hashValue and compare ignoring case, so
/// a YHashTable<YString> is a set of strings blind to case.
template <>
struct YHashTraits<YString> {
    /// YString::hashValue().
    static unsigned int hash(const YString &value) { return value.hashValue(); }
    /// Comparison ignoring (ASCII) case.
    static bool equal(const YString &a, const YString &b)
    {
        const unsigned char *p = reinterpret_cast<const unsigned char *>(a.tocs());
        const unsigned char *q = reinterpret_cast<const unsigned char *>(b.tocs());
        if (p == q)
            return true; // copies share their text
        for (;; ++p, ++q) {
            if (*p != *q && lower(*p) != lower(*q))
                return false;
            if (*p == 0)
                return true;
        }
    }

private:
    static unsigned char lower(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; }
};

/// The bucket count that follows \p current in the table of rehash sizes
/// (2, 5, 11, ... 1685759167): the first value above it, or the last value.
KVSUPPORT_API int sp_NextHashTableSize(int current);

/// A chained hash table: an array of YList buckets.
///
/// add() puts the value at the head of its bucket without testing for a
/// duplicate; callers test first with find() or contains(). When
/// `loadFactor` is above 0 and `itemCount / loadFactor` exceeds the bucket
/// count, the table grows to the next of the rehash sizes; a load factor of
/// 0 or below turns growth off.
template <typename T, typename Traits = YHashTraits<T>>
class YHashTable {
    using Node = typename YList<T>::Node;

public:
    /// Forward iterator: buckets in ascending order, each list from its head.
    template <typename Table, typename V>
    class BasicIterator {
    public:
        using iterator_category = std::forward_iterator_tag; ///< standard iterator category
        using value_type = typename std::remove_const<V>::type; ///< element type
        using difference_type = std::ptrdiff_t; ///< distance type
        using pointer = V *; ///< pointer to an element
        using reference = V &; ///< reference to an element

        /// An iterator at the first value of \p table (null is the end).
        explicit BasicIterator(Table *table = nullptr) : table(table), bucket(-1), node(nullptr)
        {
            if (table != nullptr)
                nextBucket();
        }
        /// The value.
        V &operator*() const { return node->value; }
        /// The value's members.
        V *operator->() const { return &node->value; }
        /// Steps to the next value.
        BasicIterator &operator++()
        {
            node = node->next;
            if (node == nullptr)
                nextBucket();
            return *this;
        }
        /// Steps to the next value; returns the iterator as it was.
        BasicIterator operator++(int)
        {
            BasicIterator before = *this;
            ++*this;
            return before;
        }
        /// True at the same place.
        bool operator==(const BasicIterator &other) const { return node == other.node; }
        /// True at different places.
        bool operator!=(const BasicIterator &other) const { return node != other.node; }

    private:
        void nextBucket()
        {
            while (++bucket < table->bucketCount) {
                node = YHashTable::headOf(table->buckets[bucket]);
                if (node != nullptr)
                    return;
            }
            node = nullptr;
        }
        Table *table;
        int bucket;
        Node *node;
    };
    /// Iterator giving modifiable values (don't change their keys).
    using iterator = BasicIterator<YHashTable, T>;
    /// Iterator giving const values.
    using const_iterator = BasicIterator<const YHashTable, const T>;

    /// An empty table of \p buckets buckets (at least 1) and the given load
    /// factor.
    explicit YHashTable(int buckets = 101, int loadFactor = 2)
        : buckets(new YList<T>[buckets < 1 ? 1 : buckets]), bucketCount(buckets < 1 ? 1 : buckets), itemCount(0),
          loadFactor(loadFactor)
    {
    }
    /// A table with \p other's bucket count, load factor and values.
    YHashTable(const YHashTable &other) : YHashTable(other.bucketCount, other.loadFactor) { addAll(other); }
    /// Deletes all the nodes and the bucket array.
    ~YHashTable() { delete[] buckets; }

    /// Deletes everything, takes \p other's bucket count and load factor, and
    /// adds all its values in iteration order.
    YHashTable &operator=(const YHashTable &other)
    {
        if (this != &other) {
            YList<T> *fresh = new YList<T>[other.bucketCount];
            delete[] buckets;
            buckets = fresh;
            bucketCount = other.bucketCount;
            loadFactor = other.loadFactor;
            itemCount = 0;
            addAll(other);
        }
        return *this;
    }

    /// Adds \p value at the head of its bucket (no duplicate test), then
    /// grows the table if the load factor asks for it.
    void add(const T &value)
    {
        buckets[bucketOf(value)].prepend(value);
        ++itemCount;
        if (loadFactor > 0 && itemCount / loadFactor > bucketCount)
            rehash();
    }

    /// The first value equal to \p key in its bucket, or null.
    T *find(const T &key)
    {
        for (Node *n = buckets[bucketOf(key)].head; n != nullptr; n = n->next)
            if (Traits::equal(n->value, key))
                return &n->value;
        return nullptr;
    }
    /// The first value equal to \p key in its bucket, or null.
    const T *find(const T &key) const { return const_cast<YHashTable *>(this)->find(key); }
    /// True if a value equal to \p key is in the table.
    bool contains(const T &key) const { return find(key) != nullptr; }

    /// Removes the first value equal to \p key. True if one was removed.
    bool remove(const T &key)
    {
        YList<T> &list = buckets[bucketOf(key)];
        for (Node **link = &list.head; *link != nullptr; link = &(*link)->next) {
            if (Traits::equal((*link)->value, key)) {
                list.unlink(link);
                --itemCount;
                return true;
            }
        }
        return false;
    }

    /// Removes every value equal to \p key; returns how many went.
    int removeAll(const T &key)
    {
        int removed = 0;
        while (remove(key))
            ++removed;
        return removed;
    }

    /// Deletes all the nodes; the bucket array stays.
    void flush()
    {
        for (int i = 0; i < bucketCount; ++i)
            buckets[i].clear();
        itemCount = 0;
    }

    /// Moves every node to a table of the next rehash size (see
    /// sp_NextHashTableSize): from the last bucket to the first, each from
    /// the head of its list, to the head of its new bucket.
    void rehash()
    {
        int newCount = sp_NextHashTableSize(bucketCount);
        if (newCount == bucketCount)
            return;
        YList<T> *fresh = new YList<T>[newCount];
        for (int i = bucketCount; i-- > 0;) {
            while (buckets[i].head != nullptr) {
                Node *node = buckets[i].takeHead();
                fresh[Traits::hash(node->value) % static_cast<unsigned int>(newCount)].linkAtHead(node);
            }
        }
        delete[] buckets;
        buckets = fresh;
        bucketCount = newCount;
    }

    /// Number of values.
    int getCount() const { return itemCount; }
    /// True when there are no values.
    bool isEmpty() const { return itemCount == 0; }
    /// Number of buckets.
    int getBucketCount() const { return bucketCount; }
    /// The load factor (0 or below: no growth).
    int getLoadFactor() const { return loadFactor; }
    /// The list of bucket \p i; an empty list when \p i is not a bucket.
    const YList<T> &getBucket(int i) const
    {
        static const YList<T> none;
        return i >= 0 && i < bucketCount ? buckets[i] : none;
    }

    /// Iterator at the first value.
    iterator begin() { return iterator(this); }
    /// The end iterator.
    iterator end() { return iterator(); }
    /// Iterator at the first value.
    const_iterator begin() const { return const_iterator(this); }
    /// The end iterator.
    const_iterator end() const { return const_iterator(); }

protected:
    YList<T> *buckets; ///< the bucket array
    int bucketCount;   ///< number of buckets
    int itemCount;     ///< number of values
    int loadFactor;    ///< values per bucket before growing; <= 0: never grow

private:
    static Node *headOf(const YList<T> &list) { return list.head; }

    unsigned int bucketOf(const T &value) const
    {
        return Traits::hash(value) % static_cast<unsigned int>(bucketCount);
    }

    void addAll(const YHashTable &other)
    {
        for (const T &value : other)
            add(value);
    }
};

// ---------------------------------------------------------------------------
// YRef

/// A shared pointer with a plain (not atomic) count.
///
/// One pointer to a control record holding the object and the count.
/// Copying increments the count; the last release destroys the object
/// through `delete` on a T pointer, so a T that is given objects of derived
/// classes must have a virtual destructor.
template <typename T>
class YRef {
    struct Control {
        T *object;
        int count;
    };

public:
    /// An empty reference (holds no object).
    YRef() : control(nullptr) {}
    /// Takes ownership of \p object (null gives an empty reference).
    template <typename U>
    explicit YRef(U *object) : control(nullptr)
    {
        static_assert(std::is_same<U, T>::value || std::has_virtual_destructor<T>::value,
                      "YRef<T> destroys through T *: T needs a virtual destructor");
        if (object != nullptr) {
            try {
                control = new Control{object, 1};
            } catch (...) {
                delete object;
                throw;
            }
        }
    }
    /// Shares \p other's object.
    YRef(const YRef &other) : control(other.control)
    {
        if (control != nullptr)
            ++control->count;
    }
    /// Releases the object.
    ~YRef() { release(); }
    /// Shares \p other's object; safe for self-assignment.
    YRef &operator=(const YRef &other)
    {
        Control *incoming = other.control; // other may be this very reference
        if (incoming != nullptr)
            ++incoming->count;
        release();
        control = incoming;
        return *this;
    }

    /// The object, or null.
    T *get() const { return control != nullptr ? control->object : nullptr; }
    /// The object (must not be empty).
    T *operator->() const { return get(); }
    /// The object (must not be empty).
    T &operator*() const { return *get(); }
    /// True when the reference holds no object.
    bool isNull() const { return get() == nullptr; }
    /// True when the reference holds an object.
    explicit operator bool() const { return get() != nullptr; }
    /// Number of references sharing the object (0 for an empty reference).
    int getRefCount() const { return control != nullptr ? control->count : 0; }
    /// Drops this reference; the reference is empty afterwards.
    void reset()
    {
        release();
        control = nullptr;
    }
    /// True when both refer to the same object.
    bool operator==(const YRef &other) const { return get() == other.get(); }
    /// True when they refer to different objects.
    bool operator!=(const YRef &other) const { return get() != other.get(); }

private:
    void release()
    {
        if (control != nullptr && --control->count == 0) {
            delete control->object;
            delete control;
        }
        control = nullptr;
    }
    Control *control;
};

// ---------------------------------------------------------------------------
// Buf and CharQueue

/// A growing text: `data` (heap) always holds a terminator at `length`.
/// Growth doubles the capacity.
class KVSUPPORT_API Buf {
public:
    /// The default initial capacity, 80.
    static const int initsize;

    /// Empty, capacity 80.
    Buf();
    /// Empty, capacity \p size (at least 1).
    explicit Buf(int size);
    /// A copy of \p other's text, with its capacity.
    Buf(const Buf &other);
    /// Replaces the text by \p other's.
    Buf &operator=(const Buf &other);
    /// Frees `data`.
    ~Buf();

    /// Appends \p c; first doubles the capacity if length >= capacity - 1.
    void add(char c);
    /// Appends the characters of \p text, the capacity growing as if each
    /// went in by add(); null or an empty text does nothing.
    void append(const char *text);
    /// Appends the first \p n characters of \p text (which must have that
    /// many; NUL characters included) by the same rule; n <= 0 or a null text
    /// does nothing.
    void append(const char *text, int n);
    /// The text.
    const char *get() const { return data; }
    /// The text.
    const char *operator*() const { return data; }
    /// Number of characters.
    int getLength() const { return length; }
    /// Number of characters the buffer can hold before it grows, with the
    /// terminator.
    int getCapacity() const { return capacity; }
    /// The last character as a signed value; 0 for an empty buffer.
    int lastChar() const;
    /// Shortens by \p n characters from the end, to no less than empty; a
    /// negative \p n does nothing.
    void remove(int n);
    /// Empties the text and keeps the memory.
    void flush();
    /// Gives the text to the caller (release it with free or txfree) and
    /// starts again on a new block of 80 bytes.
    char *detach();

protected:
    /// Doubles the capacity until it holds at least \p needed bytes.
    void grow(long long needed);

    char *data;   ///< the text, terminated at `length`
    int length;   ///< number of characters
    int capacity; ///< bytes allocated
};

/// A Buf read from the front: characters are added at the end and popped at
/// `readPosition`. The space before the read position is reclaimed by add()
/// when the buffer is full, and by a pop() that finds the queue empty.
class KVSUPPORT_API CharQueue : public Buf {
public:
    /// Empty, capacity \p size (80 by default, at least 1).
    explicit CharQueue(int size = 80);

    /// Appends \p c. When full, first moves the unread text to the start;
    /// if still full, doubles the capacity.
    void add(char c);
    /// Appends each character of \p text by the rule of add().
    void append(const char *text);
    /// The next character, advancing the read position; when nothing is
    /// left, resets the queue to its start and returns 0.
    char pop();
    /// The unread text.
    const char *operator*() const { return data + readPosition; }
    /// Number of unread characters.
    int getLength() const { return length - readPosition; }
    /// True when everything has been read.
    bool isEmpty() const { return readPosition == length; }
    /// Empties the queue and resets the read position.
    void flush();
    /// Index of the next character to pop.
    int getReadPosition() const { return readPosition; }
    /// Moves the read position to \p position, clamped to 0 .. length.
    void setReadPosition(int position)
    {
        readPosition = position < 0 ? 0 : position > length ? length : position;
    }

private:
    int readPosition;
};

// ---------------------------------------------------------------------------
// Searching, sorting and sets

/// Finds the adjacent indices \p lower and \p upper of \p values that
/// bracket \p x. \p ascending is 1 for an ascending array, 0 for a
/// descending one. Below 2 elements both are 0; beyond the first or last
/// element both are that element's index. A value equal to an element gives
/// that element as \p lower, unless it is the last. Null pointers or a
/// negative count leave both bounds at 0 (null bounds are not written).
KVSUPPORT_API void sp_BinarySearch(const double *values, int count, double x, int *lower, int *upper,
                                   int ascending);

/// sp_BinarySearch over the real parts of \p values.
KVSUPPORT_API void sp_BinarySearch(const complex *values, int count, double x, int *lower, int *upper,
                                   int ascending);

/// Sets \p map to the indices of \p values in ascending order of value
/// (sorted with qsort: equal values, and NaN, come in the order qsort
/// gives). A null \p map does nothing.
KVSUPPORT_API void sp_GetSortMap(const YVector<double> &values, YVector<long long> *map);

/// \p result = every value of \p a, then every value of \p b, each once
/// (blind to case: the first spelling met stays). \p result may be \p a or
/// \p b; null does nothing.
KVSUPPORT_API void sp_SetUnion(const YHashTable<YString> &a, const YHashTable<YString> &b,
                               YHashTable<YString> *result);

/// \p result = every value of \p a that is also in \p b (blind to case).
/// \p result may be \p a or \p b; null does nothing.
KVSUPPORT_API void sp_SetIntersect(const YHashTable<YString> &a, const YHashTable<YString> &b,
                                   YHashTable<YString> *result);

/// \p result = every value of \p a that is not in \p b (blind to case).
/// \p result may be \p a or \p b; null does nothing.
KVSUPPORT_API void sp_SetDifference(const YHashTable<YString> &a, const YHashTable<YString> &b,
                                    YHashTable<YString> *result);

#endif
