#include "platform/text/registry_text.h"

namespace wsadmin::platform {

namespace {

std::wstring textOf(std::uint32_t number) {
    return std::to_wstring(number);
}
std::wstring textOf(const std::wstring& text) {
    return text;
}
std::wstring textOf(const std::vector<std::wstring>& lines) {
    std::wstring text;
    for (const std::wstring& line : lines) text += (text.empty() ? L"" : L"\n") + line;
    return text;
}
std::wstring textOf(const std::vector<std::uint8_t>& bytes) {
    std::wstring text;
    for (const std::uint8_t byte : bytes) text += CORE::formatText(L"%02x", byte);
    return text;
}

}  // namespace

std::wstring registryText(const RegistryData& data) {
    return std::visit([](const auto& value) { return textOf(value); }, data);
}

}  // namespace wsadmin::platform
