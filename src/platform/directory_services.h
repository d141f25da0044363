// The directory-services port, in the manner of ADSI: things are opened by path ("LDAP://server:port/dn",
// "LDAP://rootDSE", "LDAP://dn", "GC:"), searched row by row with typed columns, and changed through objects
// that keep their changes until setInfo. Texts are UTF-8. A search, its rows or an object is used by one
// thread at a time; the services object by any.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "framework/core/corestring.h"
#include "platform/ldap_session.h"
#include "platform/result.h"

namespace wsadmin::platform {

// A failure's code is an HRESULT; its text is made by directoryErrorText.
enum AdsCode : int {
    adsSucceeded = 0,
    adsNotImplemented = static_cast<int>(0x80004001),
    adsUnspecified = static_cast<int>(0x80004005),
    adsBadPathName = static_cast<int>(0x80005000),
    adsUnknownObject = static_cast<int>(0x80005004),
    adsBadParameter = static_cast<int>(0x80005008),
    adsPropertyNotFound = static_cast<int>(0x8000500D),
    adsAccessDenied = static_cast<int>(0x80070005),
    adsLogonFailure = static_cast<int>(0x8007052E),
    adsNoSuchDomain = static_cast<int>(0x8007054B),
    adsTimeout = static_cast<int>(0x800705B4),
    adsObjectExists = static_cast<int>(0x80071392),
    adsNoSuchObject = static_cast<int>(0x80072030),
    adsServerDown = static_cast<int>(0x8007203A),
};

// The platform's text for a code of the list above; empty for another.
std::wstring_view adsCodeText(int code) noexcept;
// The code's own text, followed by "Error=" and " Info=" with the provider's extended code and text where
// there are any; "SUCCEEDED" for a code that is no failure.
std::wstring directoryErrorText(int code, std::wstring_view codeText, std::uint32_t extended,
                                std::wstring_view info);

// Open flags, numbered as the platform numbers them.
enum AdsFlags : std::uint32_t {
    adsSecureAuthentication = 0x1,
    adsUseSsl = 0x2,
    adsFastBind = 0x20,
    adsServerBind = 0x200,
};

struct DirectoryCredentials {
    std::string user;  // empty: the identity of the process. A plain name, DOMAIN\user, user@domain or a DN
    CORE::secretstring password;
    bool empty() const noexcept { return user.empty() && password.empty(); }
};

// Times are seconds since 1970-01-01 UTC.
struct DirectoryTime {
    std::int64_t seconds = 0;
    bool operator==(const DirectoryTime&) const = default;
};
struct DirectoryBytes {
    std::string bytes;
    bool operator==(const DirectoryBytes&) const = default;
};
struct DirectoryName {
    std::string dn;
    bool operator==(const DirectoryName&) const = default;
};
// A value with the type that the schema gives its attribute.
using DirectoryValue =
    std::variant<std::string, std::int32_t, std::int64_t, bool, DirectoryTime, DirectoryBytes, DirectoryName>;

// The platform's type codes of a value: as a search column has it, and as an object's variant has it.
int adsTypeCode(const DirectoryValue& value) noexcept;
int variantTypeCode(const DirectoryValue& value) noexcept;
// Numbers in decimal, booleans as "TRUE" or "FALSE", times as a directory writes them, bytes as they are.
std::string directoryText(const DirectoryValue& value);

struct DirectoryColumn {
    std::string name;
    std::vector<DirectoryValue> values;
};

// Numbered as the platform numbers them.
enum class SearchPreference {
    sizeLimit = 2,
    timeLimit = 3,  // seconds
    scope = 5,      // 0 base, 1 one level, 2 subtree
    pageSize = 7,
    tombstone = 13,  // with deleted entries
};

// The rows of a search that runs. Dropping it ends the search; it may outlive the search object.
class DirectoryRows {
  public:
    virtual ~DirectoryRows() = default;
    virtual Result<bool> next() = 0;  // false: no more rows
    // Of the current row; nothing where the entry has none. "ADsPath" is the path of the entry.
    virtual Result<std::optional<DirectoryColumn>> column(std::string_view name) = 0;
    virtual Result<std::vector<DirectoryColumn>> columns() = 0;
};

class DirectorySearch {
  public:
    virtual ~DirectorySearch() = default;
    virtual Result<void> setPreference(SearchPreference preference, int value) = 0;
    // No attributes: all that the directory gives. A search that cannot run may fail only at the first row.
    virtual Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                           const std::vector<std::string>& attributes) = 0;
    // False once the connection is known to be lost; a pool then drops this binding.
    virtual bool usable() const noexcept = 0;
    // What one search may bring; whoever reads an attribute range by range counts all ranges against them.
    virtual LdapLimits limits() const { return {}; }
};

enum class PutOperation { clear = 1, update = 2, append = 3, remove = 4 };

// An opened entry. Reads see the entry as it was opened or last written; puts are kept until setInfo writes
// them at once.
class DirectoryObject {
  public:
    virtual ~DirectoryObject() = default;
    virtual std::string path() const = 0;
    virtual std::string className() const = 0;
    // Of several values the first. An absent attribute is the failure adsPropertyNotFound.
    virtual Result<DirectoryValue> get(std::string_view name) = 0;
    virtual Result<std::vector<DirectoryValue>> getEx(std::string_view name) = 0;
    virtual Result<void> put(std::string_view name, const DirectoryValue& value) = 0;
    virtual Result<void> putEx(PutOperation operation, std::string_view name,
                               const std::vector<DirectoryValue>& values) = 0;
    virtual Result<void> setInfo() = 0;  // the changes of a setInfo that failed are kept
    // A new child ("CN=name"), written by its own setInfo.
    virtual Result<std::unique_ptr<DirectoryObject>> create(std::string_view objectClass,
                                                            std::string_view rdn) = 0;
    virtual Result<void> deleteObject() = 0;  // with everything below
    virtual Result<void> removeChild(std::string_view objectClass, std::string_view rdn) = 0;
    // Moves or renames the entry of that path to here. An empty name keeps its own.
    virtual Result<void> moveHere(std::string_view path, std::string_view newRdn) = 0;
    virtual Result<std::vector<std::string>> children() = 0;  // their paths, in the directory's order

    // --- accounts of a domain. What is done at once is read after the next setInfo

    // Sets the password of a user that has been written, at once. It leaves the machine over a protected
    // connection alone: a server that has none gets nothing, and the failure's text says so.
    virtual Result<void> setPassword(const CORE::secretstring& password) = 0;
    // A change of "userAccountControl", kept like a put until setInfo.
    virtual Result<void> putAccountDisabled(bool disabled) = 0;
    // Adds the entry of that path to a group, at once.
    virtual Result<void> addMember(std::string_view path) = 0;
};

class DirectoryServices {
  public:
    virtual ~DirectoryServices() = default;
    // A malformed path is the failure adsBadPathName and contacts nobody.
    virtual Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string& path,
                                                                const DirectoryCredentials& credentials,
                                                                std::uint32_t flags) = 0;
    virtual Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                                const DirectoryCredentials& credentials,
                                                                std::uint32_t flags) = 0;
    // Initialise the calling thread for the services and end that (COM), where the platform needs it. True:
    // the thread has to call uninitialiseThread.
    virtual bool initialiseThread() { return false; }
    virtual void uninitialiseThread() {}
};

// Keeps the calling thread initialised for directory calls during a scope. One per thread: it is not nested.
class DirectoryThread {
  public:
    explicit DirectoryThread(DirectoryServices& services)
        : services_(services), initialised_(services.initialiseThread()) {}
    ~DirectoryThread() {
        if (initialised_) services_.uninitialiseThread();
    }
    DirectoryThread(const DirectoryThread&) = delete;
    DirectoryThread& operator=(const DirectoryThread&) = delete;
    bool initialised() const noexcept { return initialised_; }

  private:
    DirectoryServices& services_;
    bool initialised_;
};

// A path taken apart.
struct DirectoryPath {
    bool globalCatalog = false;
    std::string server{};  // without brackets; empty: the default server
    std::optional<std::uint16_t> port{};
    bool rootDse = false;
    std::string dn{};  // empty: the root entry (rootDse) or the server's own naming context
};

// "LDAP://host[:port]/dn", "LDAP://host", "LDAP://dn", "LDAP://[v6]:port/dn", "LDAP://rootDSE", "GC:",
// "GC://host". Nothing for another provider, or where host, port or name are none.
std::optional<DirectoryPath> parseDirectoryPath(std::string_view text);
// The path in the platform's spelling; slashes of the name are escaped.
std::string directoryPathText(const DirectoryPath& path);
// A name as it stands in a path.
std::string escapeSlashes(std::string_view dn);

}  // namespace wsadmin::platform
