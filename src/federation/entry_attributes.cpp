#include "federation/entry_attributes.h"

#include <chrono>

#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::DirectoryObject;

Result<std::unique_ptr<DirectoryObject>> openEntry(platform::Platform& platform, const std::string& path,
                                                   const platform::DirectoryCredentials& credentials) {
    auto entry = platform.directoryServices->openObject(path, credentials, platform::adsSecureAuthentication);
    if (!entry) logError(L"Failed to bind to %s", path);
    return entry;
}

Result<std::wstring> textOf(const Result<platform::DirectoryValue>& value) {
    if (!value) return fail(value.error());
    if (std::holds_alternative<platform::DirectoryBytes>(*value)) {
        logError(L"Unable to convert attribute value to string type");
        return fail(platform::adsUnspecified, L"The value is not a text");
    }
    return CORE::toWide(platform::directoryText(*value));
}

// "20150301123045.0Z"
std::string timeText(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{floor<seconds>(time - day)};
    return CORE::toUtf8(CORE::formatText(L"%04d%02d%02d%02d%02d%02d.0Z", int{date.year()},
                                         unsigned{date.month()}, unsigned{date.day()}, clock.hours().count(),
                                         clock.minutes().count(), clock.seconds().count()));
}

void touchGroup(platform::Platform& platform, const char* name) {
    const std::string dn = "cn=" + std::string(name) + "," + layout::under(layout::container::roles);
    logVerbose(L"Touching entry %s", dn);
    const auto entry = openEntry(platform, localPath(platform, dn), {});
    if (!entry) return;
    const std::string now = timeText(platform.clock->now());
    auto touched = (*entry)->putEx(platform::PutOperation::update, attribute::touchTime, {now});
    if (touched) touched = (*entry)->setInfo();
    if (touched)
        logVerbose(L"Touched entry %s", dn);
    else
        logError(L"Failed to touch entry %s", dn);
}

}  // namespace

Result<platform::DirectoryValue> readValue(platform::Platform& platform, const std::string& path,
                                           const std::string& attribute,
                                           const platform::DirectoryCredentials& credentials) {
    const auto entry = openEntry(platform, path, credentials);
    if (!entry) return fail(entry.error());
    auto value = (*entry)->get(attribute);
    if (!value) logError(L"Unable to lookup %s from %s", attribute, path);
    return value;
}

Result<std::wstring> readText(platform::Platform& platform, const std::string& path,
                              const std::string& attribute,
                              const platform::DirectoryCredentials& credentials) {
    auto text = textOf(readValue(platform, path, attribute, credentials));
    if (text)
        logVerbose(L"Got attribute %s from %s: %s", attribute, path, *text);
    else
        logError(L"GetADsStringValue error code: 0x%x", static_cast<unsigned>(text.error().code));
    return text;
}

Result<void> writeText(platform::Platform& platform, const std::string& path, const std::string& dn,
                       const std::string& attribute, const std::string& value,
                       const platform::DirectoryCredentials& credentials) {
    const auto entry = openEntry(platform, path, credentials);
    if (!entry) return fail(entry.error());
    auto written = (*entry)->put(attribute, value);
    if (written) written = (*entry)->setInfo();
    if (written)
        logVerbose(L"Attribute %s written to %s: %s", attribute, dn, value);
    else
        logError(L"OpenObject could not write %s", dn);
    return written;
}

void touchAdministratorGroups(platform::Platform& platform) {
    for (const char* name : administratorGroups) touchGroup(platform, name);
}

}  // namespace wsadmin::qrv
