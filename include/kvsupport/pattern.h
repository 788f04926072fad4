/// \file pattern.h
/// String patterns: two wildcard matchers that look alike and behave
/// differently, regular-expression searches (QRegExp, its default syntax,
/// case-sensitive), the builder of file-dialogue filter entries, escaping in
/// both directions, and the template that names the wires of a bus.
///
/// Which wildcard matcher to use:
/// - sp_FilterString matches the whole text, `*` is zero or more characters,
///   case is optional, and it allocates nothing: the one for long lists.
/// - sp_GlobMatch searches anywhere in the text, `*` is one or more
///   characters, case always counts, and it compiles several expressions per
///   call: not for inner loops.
#ifndef KVSUPPORT_PATTERN_H
#define KVSUPPORT_PATTERN_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

/// Whole-text wildcard match of \p text (null counts as empty) against
/// \p pattern. A pattern of exactly "*" matches anything. Otherwise `*`
/// matches zero or more characters, `?` exactly one byte, and `\` makes the
/// next pattern character stand for itself. Letters compare exactly when
/// \p caseSensitive is true, else after an ASCII tolower of both.
KVSUPPORT_API bool sp_FilterString(const char *text, const YString &pattern, bool caseSensitive);

/// Wildcard search: the pattern is rewritten into a regular expression in
/// which `.`, `+`, brackets, parentheses and braces are literal, a free `*`
/// means one or more characters, a free `?` one character, and `*` or `?`
/// after an odd number of backslashes is literal. The expression is not
/// anchored and case always counts. Returns the byte offset in \p text of
/// the first match, or -1 (also for a null argument or a bad expression).
KVSUPPORT_API int sp_GlobMatch(const char *pattern, const char *text);

/// Searches \p text from its start with the regular expression \p pattern.
/// Returns the byte offset of the match, or -1 (no match, a bad expression,
/// or a null argument).
KVSUPPORT_API int sp_RegexpMatch(const char *pattern, const char *text);

/// Cuts \p text into fields by a sequence of expressions. Each expression is
/// searched for from the current position; no match makes the result false
/// and stops. A match that does not begin exactly at the position makes the
/// result false but the walk goes on. The whole match is appended to
/// \p captures (if not null) and the position advances by the match's
/// length only (a gap before a late match is not counted).
KVSUPPORT_API bool sp_RegExpMatches(const YArray<YString> &patterns, const YString &text,
                                    YArray<YString> *captures);

/// Turns "Name|pat;pat|Name|pat" into file-dialogue entries
/// "Name (pat<separator>pat)". Parentheses in a name become brackets; an odd
/// last field is ignored. Entries are appended to \p entries when it is not
/// null. A null \p filter gives nothing; a null \p separator counts as empty.
KVSUPPORT_API void sp_CompileFilter(const char *filter, YArray<YString> *entries, const char *separator);

/// The text as it would stand in a C string, without the enclosing quotes:
/// `\` becomes `\\`, line feed `\n`, tab `\t`, `"` becomes `\"`; nothing else
/// changes.
KVSUPPORT_API YString sp_ConvertToCString(const YString &text);

/// Resolves escape sequences introduced by a backslash: the escape character
/// itself, `f`, `n`, `r`, `t`, and `s` (a blank if \p spaces, else the letter);
/// any other character stands for itself, the escape being dropped. An escape
/// at the very end of the text is dropped.
KVSUPPORT_API YString sp_EscapeString(const YString &text, bool spaces);

/// As sp_EscapeString(text, spaces) with \p escape as the escape character.
KVSUPPORT_API YString sp_EscapeString(const YString &text, bool spaces, char escape);

/// The inverse of sp_EscapeString: tab, line feed, form feed and carriage
/// return become `\t`, `\n`, `\f` and `\r`, the escape character is doubled,
/// and a blank becomes `\s` only when \p spaces is true.
KVSUPPORT_API YString sp_EscapeStringEncode(const YString &text, bool spaces);

/// As sp_EscapeStringEncode(text, spaces) with \p escape as the escape
/// character. An escape character of 0 can't be written: the text is
/// returned unchanged.
KVSUPPORT_API YString sp_EscapeStringEncode(const YString &text, bool spaces, char escape);

/// Names one wire of a bus. An empty \p wireTemplate gives busName "#"
/// wireNumber. Otherwise the template is literal text in which "%%" is one
/// percent sign and "%key%" is replaced: "busname" by \p busName, "wirenum"
/// by \p wireNumber (keys ignore case), any other key by nothing. A key left
/// open at the end is still a key: "%wirenum%%%" with "3" gives "3%".
KVSUPPORT_API YString sp_ResolveWireTemplate(const YString &wireTemplate, const YString &busName,
                                             const YString &wireNumber);

#endif
