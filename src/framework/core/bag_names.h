// Names of a bag's entries, compared and hashed without regard to case, from either width: what counts is the
// wide form, each character folded. Those in ASCII, nearly all there are, take no memory and only a few
// steps.
#pragma once

#include <cstdint>
#include <string_view>

#include "framework/core/text_blocks.h"

namespace CORE::names {

// Differs from process to process, so that nobody outside can make names that collide.
std::uint32_t hash(std::wstring_view name);
std::uint32_t hash(std::string_view name);

// The long way, for names that are not both ASCII.
bool sameUnicode(std::wstring_view asked, std::string_view kept);
bool sameUnicode(std::string_view asked, std::string_view kept);

}  // namespace CORE::names
