// Log lines that an administrator has to see whatever was asked and answered. Their source is the module's
// name with the topic after it, as in "ws_admin security".
#pragma once

#include <string_view>

namespace CORE {

inline constexpr std::wstring_view securityTopic = L" security";  // transport and secrets
inline constexpr std::wstring_view savingTopic = L" saving";      // changes that are not kept

}  // namespace CORE
