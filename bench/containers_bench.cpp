// The library's containers against the standard ones: appending to and
// indexing a YVector against std::vector, and filling and searching a
// YHashTable<YString> (a set blind to case) against std::unordered_map.
#include <kvsupport/containers.h>

#include "support/bench_ratio.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int kElements = 10000;
constexpr int kKeys = 5000;

void vectorPushBackOurs(benchmark::State &state)
{
    for (auto _ : state) {
        YVector<int> v;
        for (int i = 0; i < kElements; ++i)
            v.append(i);
        benchmark::DoNotOptimize(v.data);
    }
}
BENCHMARK(vectorPushBackOurs)->Name("vector_push_back/kvsupport");

void vectorPushBackStd(benchmark::State &state)
{
    for (auto _ : state) {
        std::vector<int> v;
        for (int i = 0; i < kElements; ++i)
            v.push_back(i);
        benchmark::DoNotOptimize(v.data());
    }
}
BENCHMARK(vectorPushBackStd)->Name("vector_push_back/std");

void vectorIndexOurs(benchmark::State &state)
{
    YVector<int> v(kElements, true);
    for (int i = 0; i < kElements; ++i)
        v[static_cast<unsigned>(i)] = i;
    for (auto _ : state) {
        long long sum = 0;
        for (unsigned i = 0; i < static_cast<unsigned>(kElements); ++i)
            sum += v[i];
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(vectorIndexOurs)->Name("vector_index/kvsupport");

void vectorIndexStd(benchmark::State &state)
{
    std::vector<int> v(kElements);
    for (int i = 0; i < kElements; ++i)
        v[static_cast<std::size_t>(i)] = i;
    for (auto _ : state) {
        long long sum = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(kElements); ++i)
            sum += v[i];
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(vectorIndexStd)->Name("vector_index/std");

std::vector<std::string> keyTexts()
{
    std::vector<std::string> keys;
    for (int i = 0; i < kKeys; ++i)
        keys.push_back("NODE_" + std::to_string(i * 7919) + "_net");
    return keys;
}

std::vector<YString> keyStrings()
{
    std::vector<YString> keys;
    for (const std::string &text : keyTexts())
        keys.emplace_back(text.c_str());
    return keys;
}

void hashInsertOurs(benchmark::State &state)
{
    std::vector<YString> keys = keyStrings();
    for (auto _ : state) {
        YHashTable<YString> set;
        for (const YString &key : keys)
            if (!set.contains(key))
                set.add(key);
        benchmark::DoNotOptimize(set.getCount());
    }
}
BENCHMARK(hashInsertOurs)->Name("hash_insert/kvsupport");

void hashInsertStd(benchmark::State &state)
{
    std::vector<std::string> keys = keyTexts();
    for (auto _ : state) {
        std::unordered_map<std::string, int> map;
        for (const std::string &key : keys)
            map.emplace(key, 0);
        benchmark::DoNotOptimize(map.size());
    }
}
BENCHMARK(hashInsertStd)->Name("hash_insert/std");

void hashFindOurs(benchmark::State &state)
{
    std::vector<YString> keys = keyStrings();
    YHashTable<YString> set;
    for (const YString &key : keys)
        set.add(key);
    for (auto _ : state) {
        int found = 0;
        for (const YString &key : keys)
            found += set.find(key) != nullptr;
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(hashFindOurs)->Name("hash_find/kvsupport");

void hashFindStd(benchmark::State &state)
{
    std::vector<std::string> keys = keyTexts();
    std::unordered_map<std::string, int> map;
    for (const std::string &key : keys)
        map.emplace(key, 0);
    for (auto _ : state) {
        int found = 0;
        for (const std::string &key : keys)
            found += map.find(key) != map.end();
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(hashFindStd)->Name("hash_find/std");

} // namespace

KVBENCH_MAIN("kvsupport")
