// Code pages: the suite names local encodings by their code page numbers;
// here each number maps to the Qt codec of that encoding.
#include <kvsupport/encoding.h>

#include "core/code_page.h"

#include <QTextCodec>

#include <string>

namespace {

struct NamedCodePage {
    int number;
    const char *codec;
};

// Numbers whose codec name is not "windows-N", "cpN" or "IBMN".
const NamedCodePage kNamedCodePages[] = {
    {2, "macintosh"},       {874, "windows-874"},   {932, "Shift_JIS"},     {936, "GBK"},
    {949, "windows-949"},   {950, "Big5"},          {1200, "UTF-16LE"},     {1201, "UTF-16BE"},
    {10000, "macintosh"},   {12000, "UTF-32LE"},    {12001, "UTF-32BE"},    {20127, "US-ASCII"},
    {20866, "KOI8-R"},      {20932, "EUC-JP"},      {21866, "KOI8-U"},      {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},  {28595, "ISO-8859-5"},
    {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},  {28599, "ISO-8859-9"},
    {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"}, {50220, "ISO-2022-JP"}, {50221, "ISO-2022-JP"},
    {50222, "ISO-2022-JP"}, {51932, "EUC-JP"},      {51949, "EUC-KR"},      {54936, "GB18030"},
    {65000, "UTF-7"},       {65001, "UTF-8"},
};

} // namespace

namespace kv {
namespace detail {

QTextCodec *codecForCodePage(int codePage)
{
    if (codePage == 0 || codePage == 1 || codePage == 3)
        return QTextCodec::codecForLocale();
    for (const NamedCodePage &named : kNamedCodePages) {
        if (named.number == codePage)
            return QTextCodec::codecForName(named.codec);
    }
    if (codePage < 37 || codePage > 65535)
        return nullptr;
    const std::string number = std::to_string(codePage);
    for (const char *prefix : {"windows-", "cp", "IBM"}) {
        if (QTextCodec *codec = QTextCodec::codecForName((prefix + number).c_str()))
            return codec;
    }
    return nullptr;
}

} // namespace detail
} // namespace kv

YString sp_ConvertUTF8_to_MBCS(const char *text, int codePage)
{
    QTextCodec *codec = kv::detail::codecForCodePage(codePage);
    if (text == nullptr || codec == nullptr)
        return YString();
    return YString(codec->fromUnicode(QString::fromUtf8(text)).constData());
}
