// What the framework asks of the operating system, on Linux.
#include "framework/core/system.h"

#include <dlfcn.h>
#include <iconv.h>
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

std::string iconvName(unsigned codePage) {
    if (codePage == 20127) return "US-ASCII";
    if (codePage > 28590 && codePage < 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
    return "CP" + std::to_string(codePage);
}

// Units that have no counterpart become a question mark; `unit` is the size of one on the reading side.
std::optional<std::string> convert(const std::string& to, const std::string& from, std::string_view text,
                                   std::size_t unit, std::string_view mark) {
    iconv_t conversion = iconv_open(to.c_str(), from.c_str());
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the interface's own way to say that it failed
    if (conversion == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    const std::unique_ptr<void, int (*)(iconv_t)> closer(conversion, iconv_close);

    std::string out;
    std::array<char, 512> buffer;
    char* in = const_cast<char*>(text.data());
    std::size_t left = text.size();
    while (left > 0) {
        char* end = buffer.data();
        std::size_t room = buffer.size();
        const std::size_t done = iconv(conversion, &in, &left, &end, &room);
        const int error = done == static_cast<std::size_t>(-1) ? errno : 0;
        out.append(buffer.data(), end);
        if (error == EILSEQ || error == EINVAL) {
            out.append(mark);
            const std::size_t skipped = std::min(unit, left);
            in += skipped;
            left -= skipped;
        }
    }
    return out;
}

std::string_view bytesOf(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
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

std::optional<std::string> encode(std::wstring_view text, unsigned codePage) {
    return convert(iconvName(codePage), "WCHAR_T", bytesOf(text), sizeof(wchar_t), "?");
}

std::optional<std::wstring> decode(std::string_view text, unsigned codePage) {
    const auto bytes = convert("WCHAR_T", iconvName(codePage), text, 1, bytesOf(L"\uFFFD"));
    if (!bytes) return std::nullopt;
    std::wstring wide(bytes->size() / sizeof(wchar_t), L'\0');
    memcpy(wide.data(), bytes->data(), bytes->size());
    return wide;
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
