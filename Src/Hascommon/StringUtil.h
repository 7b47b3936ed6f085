/// @file
/// Comparing, testing, converting and cutting text.
///
/// Strings are bytes and letters are ASCII; no locale plays a part. The conversions take a narrow
/// syntax and never fail loudly: text they do not accept yields 0, 0.0 or false, and
/// callers rely on that. No function logs, and no function throws except for lack of memory.
///
/// Threads: all functions may be called from any thread; no function has state.
#pragma once

#include <Hascommon/Export.h>

#include <string>

namespace hascommon {

/// Whether two strings have the same bytes, 'a' to 'z' counting as 'A' to 'Z'.
HAS_API bool has_iequal(const std::string& a, const std::string& b);
/// The same; `b` must not be null.
HAS_API bool has_iequal(const std::string& a, const char* b);
/// The same; `a` must not be null.
HAS_API bool has_iequal(const char* a, const std::string& b);
/// The same; false where either is null.
HAS_API bool has_iequal(const char* a, const char* b);

/// Compares the first `n` bytes of two C strings, 'A' to 'Z' counting as 'a' to 'z'.
///
/// A null pointer on either side counts as equal: there is nothing that differs. Bytes are
/// unsigned.
/// @return 0 when equal, else the difference of the first two bytes that differ: folded where both
///         are part of their string, as they stand where one of the strings has ended
HAS_API int has_strncasecmp(const char* a, const char* b, unsigned int n);

/// @name Text tests
/// One pass over the text. White space is skipped wherever it stands, so "1 2" and " " pass. A sign
/// passes once and only before the first digit, so a lone "+" passes as well. The empty text fails.
/// @{

/// White space, '0' to '9' and a sign.
HAS_API bool isDigitString(const std::string& text);
/// White space, '0' to '9', 'A' to 'F' and a sign; lower case and "0x" fail.
HAS_API bool isOxDigitString(const std::string& text);
/// White space, '0' to '9', one '.' and a sign, which may also stand behind the '.'; no exponent.
HAS_API bool isFloatString(const std::string& text);
/// @}

/// @return the decimal number at the start of the text, the nearest limit where it does not fit
///         into 32 bits; 0 where isDigitString() fails
HAS_API int convNotEmptyDigitStringToInt(std::string text);

/// convNotEmptyDigitStringToInt() read as unsigned: "-1" yields 4294967295 and "3000000000" yields
/// 2147483647, because the number is read with a sign first.
HAS_API unsigned int convNotEmptyDigitStringToUInt(std::string text);

/// As convNotEmptyDigitStringToInt(), in 64 bits. The number is signed, whatever the name says.
HAS_API long long convNotEmptyDigitStringToUl64(std::string text);

/// @return the low 16 bits of the hexadecimal number; 0 where isOxDigitString() fails. A sign
///         changes nothing.
HAS_API unsigned short convNotEmptyDigitStringToUInt2(std::string text);

/// @return the decimal number at the start of the text, 0.0 where isFloatString() fails
HAS_API double convNotEmptyDigitStringToDouble(std::string text);

/// Whether the text begins with "true" in any case; what follows is ignored, so
/// "true " and "trueish" are both true.
HAS_API bool convNotEmptyStringToBool(const std::string& text);

/// Hexadecimal digits of either case to a number.
///
/// A character that is no such digit counts as 0 and still takes a place: "1 F" yields 271, and
/// "0x1F" yields 31. More than 32 bits are cut to the low 32.
/// @return the number; 0 for a null or empty text
HAS_API int OxChangeToInt(const char* text);

/// Replaces the first occurrence of `from`.
/// @param from  an empty one stands at the front; null changes nothing
/// @return `text`
HAS_API std::string& has_replace_first(std::string& text, const char* from, std::string to);

/// Splits a byte range such as "100-499".
///
/// Each side is read as a decimal number as far as it goes, 0 where it does not begin with one. The
/// right side begins one byte behind the place where the separator begins, however long the
/// separator is: ranges are separated by one character.
/// @param first  receives the number on the left; 0 where there is no text or no separator
/// @param last   receives the number on the right; -1, for "to the end", where there is no text or
///               no separator
/// Where `first` or `last` is null nothing happens.
HAS_API void getRangePosFromString(std::string text, int* first, int* last, std::string separator);

} // namespace hascommon
