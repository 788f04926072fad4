/// \file engnum.h
/// Engineering numbers: the one parser of circuit values ("4k7", "10meg",
/// "1.5u", "22nF") and the formatters that turn a double into a short text of
/// a given width, plus the small number-to-text conversions that share the
/// suffix table (Verilog time precision, version numbers, HTML colours).
///
/// Suffixes, matched without regard to case, in this order: "meg" (1e6),
/// "mil" (2.54e-5, a thousandth of an inch in metres), then a 1e-18, f 1e-15,
/// p 1e-12, n 1e-9, u 1e-6, m 1e-3, k 1e3, g 1e9, t 1e12. So "M" is milli, as
/// in SPICE; only "meg" is mega. When printing, mega is written "Meg".
///
/// Every number read or written follows the C locale whatever the process
/// locale is: "1.5k" is 1500 under a locale with a decimal comma too.
#ifndef KVSUPPORT_ENGNUM_H
#define KVSUPPORT_ENGNUM_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

class QString;

/// Reads an engineering number at \p text. \p end, when not null, receives
/// the first character not used; a caller detects a bad number by *end equal
/// to \p text. The steps:
///  - null \p text returns 0 and leaves *end untouched;
///  - text beginning "inf" or "nan" (any case) returns 0, *end = text;
///  - text beginning "0x"/"0X" returns 0 with *end just after the '0';
///  - the leading real number is read as the C library's strtod reads it in
///    the C locale (so "1e3" and "1.5E-6" work); nothing read returns 0 with
///    *end = text; a number equal to 0 returns 0 with *end just after the
///    number (a suffix after a zero is not taken: "0k" leaves "k");
///  - a suffix may follow: "meg", "mil" or a table letter; any other ASCII
///    letter is taken too and multiplies by 1 (the unit in "5V");
///  - after a suffix, a run of up to 31 digits gives the fractional digits of
///    the "4k7" form: atoi(digits) / 10^count is added before multiplying
///    (the digit value saturates at 2147483647).
/// "4k7uF" gives 4700 and leaves "uF". Allocates nothing.
KVSUPPORT_API double sp_ConvertEngToReal(const char *text, char **end);

/// sp_ConvertEngToReal on the characters of \p text; *end points into them.
KVSUPPORT_API double sp_ConvertEngToReal(const YString &text, char **end);

/// sp_ConvertEngToReal on the UTF-8 form of \p text, with no end pointer.
KVSUPPORT_API double sp_ConvertEngToReal(const QString &text);

/// The PSpice dialect of sp_ConvertEngToReal: it has no atto, so a suffix
/// 'a' is taken and multiplies by 1.
KVSUPPORT_API double sp_ConvertEngToRealPSpiceCompat(const char *text, char **end);

/// Reads an engineering number at *cursor. If nothing could be read,
/// *failed is true, the cursor stays and the result is 0. Otherwise *failed
/// is false and the cursor moves past the number and then past any ASCII
/// letters and '_' that follow, so a unit such as "kOhm" or "_VOLTS" goes
/// with the number. A null \p cursor (or *cursor) fails; \p failed may be null.
KVSUPPORT_API double sp_GetEngToken(char **cursor, bool *failed);

/// Engineering text of \p value in a field of \p precision characters (the
/// digits shown follow from the width). Non-finite values give "INF" (not
/// padded); magnitudes below 1e-300 count as 0. With \p usePercent, a
/// magnitude in [0.001, 10) is written with "%" and one in [1e-7, 0.001)
/// with "ppm". Exponents from -18 to 12 use the suffix table ("Meg" for
/// 1e6), others "E<exponent>" (a multiple of 3). Without \p padZeros the
/// text is padded with blanks to the field width; with it the number is
/// padded with '0' (after a '.') up to the width less the suffix.
/// Example: sp_FormatEng(1500.0, 6, false, false) is "1.5k  ".
/// Field widths above 65536 are treated as 65536.
KVSUPPORT_API YString sp_FormatEng(double value, int precision, bool usePercent, bool padZeros);

/// Engineering text without padding: \p precision significant digits (at
/// least as many as the integer part needs when it is below 3), the suffix
/// table between 1e-18 and 1e12, else "E<exponent>"; with \p exponentOnly
/// always "E<exponent>". Non-finite values give "INF", 0 gives "0".
KVSUPPORT_API YString sp_ConvertRealToJSEng(double value, int precision, bool exponentOnly);

/// Plain "%g" text of \p value fitted into \p width characters by lowering
/// the precision (starting at width - 2, or width - 3 for a negative value or
/// a NaN), padded on the right with blanks to \p width. With \p asPercent it
/// prints 100 x value followed by "%", starting one digit lower, and the '%'
/// is left out of the length only on the first try. Widths below -9 or above
/// 1048576 give the empty string.
KVSUPPORT_API YString sp_FormatReal(double value, int width, bool asPercent);

/// Takes one field of \p width characters off the front of \p text into
/// \p dest (which holds width + 1 bytes), for printing a long name over
/// several lines. At most width - 1 characters of text go into a field: the
/// field ends just after the last \p breakChar seen at an index of 1 or more,
/// or else before the character at index width - 1. The text that went into
/// the field leaves \p text (all of it when the text ends first), and \p dest
/// is padded with blanks to exactly \p width characters. A width below 1
/// leaves \p text alone and gives an empty \p dest (when \p width is 0); a
/// null \p text counts as empty; a null \p dest does nothing.
KVSUPPORT_API void sp_FormatName(char *dest, int width, char breakChar, YString *text);

/// Verilog time precision for a resolution in seconds: "1fs", "10fs", ...
/// "100s". Each text covers its decade, from above 0.9999 x 10^k up to
/// 9.999 x 10^k (the last, "100s", ends at 100.1); no match gives "".
KVSUPPORT_API YString sp_GetVlPrecStringFromResolution(double resolution);

/// Version text to an integer with two decimals: "8.20" is 820, "8.2" is
/// 820, "8" is 800 and "8.25" is 825. Decimal digits are added up and every
/// other character is ignored; reading stops two characters behind the
/// first '.', whatever they are ("8.3.1" is 830), and the scale follows the
/// digits among them. Empty text gives 0; a value beyond 2147483647
/// saturates.
KVSUPPORT_API int sp_ConvertStringToVersion(const YString &text);

/// Integer version to text with a point before the last two digits: 820 is
/// "8.20", 25 is ".25", 5 is "5". Values below 1 give the empty string.
KVSUPPORT_API YString sp_ConvertVersionToString(int version);

/// The version of the suite as numbers and text.
struct KVSUPPORT_API KelvoranVersionInfo {
    int majorVersion = 0;    ///< 8
    int minorVersion = 0;    ///< 30
    int maintenance = 0;     ///< 8
    int revision = 0;        ///< 3
    int userValue = 0;       ///< left as it is by sp_GetVersionValues
    int releaseType = 0;     ///< 2
    YString versionText;     ///< "8.30h"
};

/// Fills \p info: 8, 30, 8, 3, the fifth field unchanged, 2, and "8.30h"
/// (the text is formatted once per process). Null does nothing.
KVSUPPORT_API void sp_GetVersionValues(KelvoranVersionInfo *info);

/// "#rrggbb" to red + 256 x green + 65536 x blue, reading the last six
/// characters as hexadecimal pairs in either case (a character that is no
/// hexadecimal digit counts as 0). Empty text, text not beginning with '#'
/// and fewer than six characters after the '#' give 0.
KVSUPPORT_API int sp_ConvertHTMLcolourToRGB(const YString &text);

/// The reverse of sp_ConvertHTMLcolourToRGB: "#%02x%02x%02x" of the low,
/// middle and high byte of \p rgb (bits above 24 are ignored).
KVSUPPORT_API YString sp_ConvertRGBcolourToHTML(int rgb);

#endif
