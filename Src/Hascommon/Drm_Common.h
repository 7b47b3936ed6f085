/// @file
/// Keys and initialisation vectors as text and as bytes; all of it at global scope.
///
/// Nothing here fails loudly: text is not looked at for being hexadecimal, and numbers are fitted
/// into the room there is. Callers that take text from outside check it themselves.
///
/// Threads: all functions may be called from any thread; no function has state, and no function
/// logs.
#pragma once

#include <Hascommon/Export.h>

#include <string>

/// Writes bytes as upper-case hexadecimal digits, the high half of each byte first.
///
/// Exactly 2·n characters are written and no terminator behind them, so that the text may
/// be written into the middle of another one; the caller ends it. The text may begin where the
/// bytes begin.
/// @param bytes  `n` bytes
/// @param out    room for 2·n characters
HAS_API void byteToHexString(char* bytes, char* out, unsigned int n);

/// Reads hexadecimal digits, of either case, as one big number: its last byte becomes the last of
/// the buffer, and the bytes in front of it are zero.
///
/// Digits may stand behind "0x" or "0X". Two make a byte, counted from the end of the text, so a
/// first digit that is left over is ignored, as is what goes beyond `outLen` bytes: the last
/// bytes of the number are what counts.
///
/// No character is refused: one below 'a', once in lower case, counts as its distance from '0' and
/// every other as its distance from 'a' plus 10; a pair counts as 16 times the left one plus the
/// right one, of which the low 8 bits become the byte. Characters are bytes without a sign.
/// @param out  `outLen` bytes; may be null where that is 0
/// @return bytes written from the text, 0 where it has fewer than two digits
HAS_API unsigned int hexStringToByte(const std::string& text, void* out, unsigned int outLen);

/// @return true: the library runs on little-endian targets
HAS_API bool IsLittleEndian();

/// @return the number with its four bytes in reverse order
HAS_API unsigned int swapByteOrder(unsigned int x);

/// Makes the initialisation vector of an HLS segment whose playlist gives no such vector: the media
/// sequence number, big-endian (RFC 8216, 5.2).
/// @param iv     receives zeros and, in its last four bytes, the number
/// @param ivLen  bytes in `iv`, 16 for AES; fewer than four hold the low bytes of the number
HAS_API void sequenceToiv(unsigned int seq, unsigned char* iv, unsigned int ivLen);

/// Makes the initialisation vector that a playlist gives as text (the IV attribute of EXT-X-KEY,
/// RFC 8216, 4.3.2.4), by the rules of hexStringToByte().
/// @param iv     receives zeros and behind them the number
/// @param ivLen  bytes in `iv`, 16 for AES
/// @return bytes written from the text
HAS_API unsigned int stringToiv(const std::string& text, unsigned char* iv, unsigned int ivLen);
