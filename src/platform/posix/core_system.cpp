// What the framework asks of the operating system, on Linux.
#include "framework/core/system.h"

#include <dlfcn.h>
#include <netdb.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <memory>

#include "framework/core/corestring.h"
#include "framework/core/framework.h"

namespace CORE::sys {
namespace {

// A locale object of our own: the process's locale is the host's business.
locale_t unicodeLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

std::optional<std::string> hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return std::nullopt;
    return name.data();
}

}  // namespace

std::optional<std::wstring> environment(std::wstring_view name) {
    const char* value = std::getenv(toUtf8(name).c_str());
    return value ? std::optional(toWide(value)) : std::nullopt;
}

// As the platform with such names derives them: the host's label in capitals, 15 characters of it.
std::optional<std::wstring> netBiosName() {
    const auto host = hostName();
    if (!host) return std::nullopt;
    std::wstring name = toWide(host->substr(0, host->find('.'))).substr(0, 15);
    for (wchar_t& c : name) c = CORE::foldCase(c);
    return name;
}

std::optional<std::wstring> dnsName() {
    const auto host = hostName();
    if (!host) return std::nullopt;
    if (host->find('.') != std::string::npos) return toWide(*host);
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host->c_str(), nullptr, &hints, &found) != 0) return toWide(*host);
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> closer(found, freeaddrinfo);
    return toWide(found->ai_canonname ? found->ai_canonname : *host);
}

std::wstring modulePath(void* module) {
    Dl_info info{};
    const char* name = "/proc/self/exe";
    if (module) name = dladdr(module, &info) != 0 ? info.dli_fname : nullptr;
    if (!name) return {};
    const std::unique_ptr<char, void (*)(void*)> path(realpath(name, nullptr), std::free);
    return toWide(path ? path.get() : name);
}

std::wstring errorText(std::uint32_t error) {
    const locale_t plain = newlocale(LC_MESSAGES_MASK, "C", nullptr);
    std::wstring text = toWide(strerror_l(static_cast<int>(error), plain));
    freelocale(plain);
    return text;
}

wchar_t upperCase(wchar_t c) noexcept {
    const locale_t locale = unicodeLocale();
    return locale ? static_cast<wchar_t>(towupper_l(static_cast<wint_t>(c), locale)) : c;
}
wchar_t lowerCase(wchar_t c) noexcept {
    const locale_t locale = unicodeLocale();
    return locale ? static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), locale)) : c;
}

int osLevel() noexcept {
    return coreosver::newest;
}

bool isAdmin(void* token) {
    return !token && geteuid() == 0;
}

std::optional<std::wstring> registryValue(std::wstring_view, std::wstring_view) {
    return std::nullopt;
}
bool registryValues(std::wstring_view, const std::function<void(std::wstring_view, std::wstring_view)>&) {
    return false;
}

std::wstring defaultKeyFile() {
    if (const auto state = environment(L"XDG_STATE_HOME"); state && !state->empty())
        return *state + L"/ws_admin/host.key";
    const auto home = environment(L"HOME");
    return home && !home->empty() ? *home + L"/.local/state/ws_admin/host.key"
                                  : L"/var/lib/ws_admin/host.key";
}

void nameThisThread(std::wstring_view name) noexcept {
    // The kernel keeps 15 bytes. ASCII needs no memory, and no name is worth a failure.
    std::array<char, 16> ascii{};
    for (std::size_t i = 0; i < name.size() && i + 1 < ascii.size(); ++i)
        ascii[i] = name[i] > 0 && name[i] < 0x80 ? static_cast<char>(name[i]) : '?';
    pthread_setname_np(pthread_self(), ascii.data());
}

}  // namespace CORE::sys
