// UTF-8 as a bag keeps it: every wchar_t has a form of its own, lone surrogates and numbers beyond Unicode
// too (the generalised UTF-8 that is also known as WTF-8), so that whatever was put in comes out again. Valid
// text has its usual form. Decoding never fails: what is no such form becomes U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace CORE::lossless {

bool isAscii(std::string_view text) noexcept;
// Bytes that the text takes; equal to its length only when all of it is ASCII.
std::size_t encodedSize(std::wstring_view text) noexcept;
// Writes encodedSize(text) bytes, without a NUL.
void encode(std::wstring_view text, char* to) noexcept;
std::wstring decode(std::string_view text);

}  // namespace CORE::lossless
