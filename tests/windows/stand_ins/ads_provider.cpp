#include "windows/stand_ins/ads_provider.h"

#include <mutex>

#include "windows/stand_ins/ads_account.h"
#include "windows/stand_ins/ads_provider_values.h"
#include "windows/stand_ins/com_object.h"
// After windows.h:
#include <adserr.h>
#include <adshlp.h>

namespace wstest {

using namespace wsadmin::platform;

namespace {

// What all objects of a provider share.
struct Backend {
    std::shared_ptr<DirectoryServices> services;
    std::mutex mutex;
    std::vector<std::string> calls;
    int nothings = 0;

    void record(std::string call) {
        const std::lock_guard hold(mutex);
        calls.push_back(std::move(call));
    }
};

struct Opening {
    std::shared_ptr<Backend> backend;
    DirectoryCredentials credentials;
    std::uint32_t flags = 0;
};

bool tellsTexts = true;

// A failure as a provider tells it: the code, and more for who asks.
template <class T>
HRESULT hresultOf(const T& result) {
    if (result) return S_OK;
    if (tellsTexts)
        ADsSetLastError(static_cast<DWORD>(result.error().code) & 0xffff, L"as the directory says", L"test");
    return static_cast<HRESULT>(result.error().code);
}

// A relative name as a path has it.
std::string plainName(BSTR name) {
    std::string text = fromBstr(name);
    for (auto at = text.find("\\/"); at != std::string::npos; at = text.find("\\/")) text.erase(at, 1);
    return text;
}

struct RunningSearch {
    std::unique_ptr<DirectoryRows> rows;
    std::vector<std::string> names;  // still to be told
    bool named = false;
    int rowsUntilPause = 2;
};

class Entry final : public ComObject<IADs, IADsContainer, IADsDeleteOps, IDirectorySearch> {
  public:
    Entry(Opening opening, std::string path, std::shared_ptr<DirectorySearch> search)
        : opening_(std::move(opening)), path_(std::move(path)), search_(std::move(search)) {}
    Entry(Opening opening, std::unique_ptr<DirectoryObject> object)
        : opening_(std::move(opening)), path_(object->path()), object_(std::move(object)) {}

    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        const bool asAccount = id == IID_IADsUser || id == IID_IADsGroup;
        const bool asObject =
            asAccount || id == IID_IADs || id == IID_IADsContainer || id == IID_IADsDeleteOps;
        if (asObject && !object_)
            if (const HRESULT hr = load(); FAILED(hr)) return hr;
        if (asAccount) return giveAccount(id, found);
        return answer(id, found,
                      {{IID_IADs, static_cast<IADs*>(this)},
                       {IID_IDispatch, static_cast<IADs*>(this)},
                       {IID_IUnknown, static_cast<IADs*>(this)},
                       {IID_IADsContainer, static_cast<IADsContainer*>(this)},
                       {IID_IADsDeleteOps, static_cast<IADsDeleteOps*>(this)},
                       {IID_IDirectorySearch, static_cast<IDirectorySearch*>(this)}});
    }
    // --- IADs
    HRESULT WINAPI get_Name(BSTR*) override { return E_NOTIMPL; }
    HRESULT WINAPI get_Class(BSTR* text) override { return give(object_->className(), text); }
    HRESULT WINAPI get_GUID(BSTR*) override { return E_NOTIMPL; }
    HRESULT WINAPI get_ADsPath(BSTR* text) override { return give(object_->path(), text); }
    HRESULT WINAPI get_Parent(BSTR*) override { return E_NOTIMPL; }
    HRESULT WINAPI get_Schema(BSTR*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetInfo() override {
        opening_.backend->record("GetInfo");
        path_ = object_->path();
        return load();  // what was put and not written is lost, as it is there
    }
    HRESULT WINAPI SetInfo() override { return hresultOf(object_->setInfo()); }
    HRESULT WINAPI Get(BSTR name, VARIANT* value) override {
        const auto values = object_->getEx(fromBstr(name));
        if (!values) return hresultOf(values);
        *value = values->size() == 1 ? variantOf(values->front()) : variantOf(*values);
        return S_OK;
    }
    HRESULT WINAPI Put(BSTR name, VARIANT value) override {
        return hresultOf(object_->put(fromBstr(name), valuesOf(value).at(0)));
    }
    HRESULT WINAPI GetEx(BSTR name, VARIANT* value) override {
        const auto values = object_->getEx(fromBstr(name));
        if (!values) return hresultOf(values);
        *value = variantOf(*values);
        return S_OK;
    }
    HRESULT WINAPI PutEx(__LONG32 control, BSTR name, VARIANT value) override {
        return hresultOf(object_->putEx(static_cast<PutOperation>(control), fromBstr(name), valuesOf(value)));
    }
    HRESULT WINAPI GetInfoEx(VARIANT names, __LONG32) override {
        for (const DirectoryValue& name : valuesOf(names))
            opening_.backend->record("GetInfoEx " + directoryText(name));
        return S_OK;
    }

    // --- IADsContainer
    HRESULT WINAPI get_Count(__LONG32*) override { return E_NOTIMPL; }
    HRESULT WINAPI get__NewEnum(IUnknown** enumerator) override;
    HRESULT WINAPI get_Filter(VARIANT*) override { return E_NOTIMPL; }
    HRESULT WINAPI put_Filter(VARIANT) override { return E_NOTIMPL; }
    HRESULT WINAPI get_Hints(VARIANT*) override { return E_NOTIMPL; }
    HRESULT WINAPI put_Hints(VARIANT) override { return E_NOTIMPL; }
    HRESULT WINAPI GetObject(BSTR, BSTR, IDispatch**) override { return E_NOTIMPL; }
    HRESULT WINAPI Create(BSTR objectClass, BSTR name, IDispatch** made) override {
        auto child = object_->create(fromBstr(objectClass), plainName(name));
        if (!child) return hresultOf(child);
        *made = static_cast<IADs*>(new Entry(opening_, std::move(*child)));
        return S_OK;
    }
    HRESULT WINAPI Delete(BSTR objectClass, BSTR name) override {
        return hresultOf(object_->removeChild(fromBstr(objectClass), plainName(name)));
    }
    HRESULT WINAPI CopyHere(BSTR, BSTR, IDispatch**) override { return E_NOTIMPL; }
    HRESULT WINAPI MoveHere(BSTR from, BSTR name, IDispatch** moved) override {
        const auto done = object_->moveHere(fromBstr(from), name ? plainName(name) : std::string());
        if (!done) return hresultOf(done);
        AddRef();
        *moved = static_cast<IADs*>(this);
        return S_OK;
    }

    // --- IADsDeleteOps
    HRESULT WINAPI DeleteObject(__LONG32) override { return hresultOf(object_->deleteObject()); }

    // --- IDirectorySearch
    HRESULT WINAPI SetSearchPreference(PADS_SEARCHPREF_INFO preferences, DWORD count) override {
        HRESULT outcome = S_OK;
        for (DWORD i = 0; i < count; ++i) {
            ADS_SEARCHPREF_INFO& one = preferences[i];
            const bool flag = one.dwSearchPref == ADS_SEARCHPREF_TOMBSTONE;
            const bool typed = one.vValue.dwType == (flag ? ADSTYPE_BOOLEAN : ADSTYPE_INTEGER);
            const int value = static_cast<int>(flag ? one.vValue.Boolean : one.vValue.Integer);
            opening_.backend->record("preference " + std::to_string(one.dwSearchPref) + " " +
                                     std::to_string(value));
            const bool set =
                typed && search_->setPreference(static_cast<SearchPreference>(one.dwSearchPref), value);
            one.dwStatus = set ? ADS_STATUS_S_OK : ADS_STATUS_INVALID_SEARCHPREFVALUE;
            if (!set) outcome = S_ADS_ERRORSOCCURRED;
        }
        return outcome;
    }
    HRESULT WINAPI ExecuteSearch(LPWSTR filter, LPWSTR* names, DWORD count,
                                 PADS_SEARCH_HANDLE handle) override {
        std::vector<std::string> attributes;
        if (count != static_cast<DWORD>(-1))
            for (DWORD i = 0; i < count; ++i) attributes.push_back(CORE::toUtf8(names[i]));
        opening_.backend->record("search " + CORE::toUtf8(filter));
        auto rows = search_->execute(CORE::toUtf8(filter), attributes);
        if (!rows) return hresultOf(rows);
        *handle = new RunningSearch{std::move(*rows), {}};
        ++liveComObjects;
        return S_OK;
    }
    HRESULT WINAPI AbandonSearch(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
    HRESULT WINAPI GetFirstRow(ADS_SEARCH_HANDLE handle) override { return GetNextRow(handle); }
    HRESULT WINAPI GetNextRow(ADS_SEARCH_HANDLE handle) override {
        running(handle).named = false;
        // Once in a search there are no more rows for the moment, as between two pages.
        if (running(handle).rowsUntilPause-- == 0) {
            ADsSetLastError(ERROR_MORE_DATA, L"", L"test");
            return S_ADS_NOMORE_ROWS;
        }
        const auto more = running(handle).rows->next();
        if (!more) return hresultOf(more);
        return *more ? S_OK : S_ADS_NOMORE_ROWS;
    }
    HRESULT WINAPI GetPreviousRow(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
    HRESULT WINAPI GetNextColumnName(ADS_SEARCH_HANDLE handle, LPWSTR* name) override {
        RunningSearch& search = running(handle);
        if (!std::exchange(search.named, true)) {
            search.names.clear();
            const auto columns = search.rows->columns();
            if (!columns) return hresultOf(columns);
            for (const DirectoryColumn& column : *columns) search.names.push_back(column.name);
        }
        *name = nullptr;
        if (search.names.empty()) return S_ADS_NOMORE_COLUMNS;
        *name = AllocADsStr(CORE::toWide(search.names.front()).c_str());
        search.names.erase(search.names.begin());
        return S_OK;
    }
    HRESULT WINAPI GetColumn(ADS_SEARCH_HANDLE handle, LPWSTR name, PADS_SEARCH_COLUMN column) override {
        const auto found = running(handle).rows->column(CORE::toUtf8(name));
        if (!found) return hresultOf(found);
        if (!*found) return E_ADS_COLUMN_NOT_SET;
        auto* store = new ColumnStore;
        ++liveComObjects;
        for (const DirectoryValue& value : (*found)->values) store->add(value);
        column->pszAttrName = name;
        column->pADsValues = store->values.data();
        column->dwNumValues = static_cast<DWORD>(store->values.size());
        column->hReserved = store;
        return S_OK;
    }
    HRESULT WINAPI FreeColumn(PADS_SEARCH_COLUMN column) override {
        delete static_cast<ColumnStore*>(column->hReserved);
        --liveComObjects;
        return S_OK;
    }
    HRESULT WINAPI CloseSearchHandle(ADS_SEARCH_HANDLE handle) override {
        delete &running(handle);
        --liveComObjects;
        return S_OK;
    }

  private:
    static RunningSearch& running(ADS_SEARCH_HANDLE handle) { return *static_cast<RunningSearch*>(handle); }
    static HRESULT give(const std::string& text, BSTR* into) {
        *into = toBstr(text);
        return S_OK;
    }
    // Only as what it is: a user or a group. Used while this entry is held.
    HRESULT giveAccount(REFIID id, void** found) {
        *found = nullptr;
        const std::string kind = object_->className();
        if (id == IID_IADsUser && kind == "user")
            *found = static_cast<IADsUser*>(new UserObject(
                {[&](BSTR password) {
                     return hresultOf(object_->setPassword(CORE::secretstring(fromBstr(password))));
                 },
                 [&](VARIANT_BOOL disabled) {
                     return hresultOf(object_->putAccountDisabled(disabled != VARIANT_FALSE));
                 }}));
        if (id == IID_IADsGroup && kind == "group")
            *found = static_cast<IADsGroup*>(
                new GroupObject([&](BSTR path) { return hresultOf(object_->addMember(fromBstr(path))); }));
        return *found ? S_OK : E_NOINTERFACE;
    }
    HRESULT load() {
        auto object = opening_.backend->services->openObject(path_, opening_.credentials, opening_.flags);
        if (!object) return hresultOf(object);
        object_ = std::move(*object);
        return S_OK;
    }

    Opening opening_;
    std::string path_;
    std::shared_ptr<DirectorySearch> search_;
    std::unique_ptr<DirectoryObject> object_;
};

class Children final : public ComObject<IEnumVARIANT> {
  public:
    Children(Opening opening, std::vector<std::string> paths)
        : opening_(std::move(opening)), paths_(std::move(paths)) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        return answer(id, found, {{IID_IEnumVARIANT, this}, {IID_IUnknown, this}});
    }
    HRESULT WINAPI Next(ULONG count, VARIANT* values, ULONG* fetched) override {
        ULONG given = 0;
        for (; given < count && opening_.backend->nothings > 0; ++given, --opening_.backend->nothings)
            VariantInit(&values[given]);
        for (; given < count && at_ < paths_.size(); ++given) {
            auto child =
                opening_.backend->services->openObject(paths_[at_++], opening_.credentials, opening_.flags);
            if (!child) return hresultOf(child);
            V_VT(&values[given]) = VT_DISPATCH;
            V_DISPATCH(&values[given]) = static_cast<IADs*>(new Entry(opening_, std::move(*child)));
        }
        if (fetched) *fetched = given;
        return given == count ? S_OK : S_FALSE;
    }
    HRESULT WINAPI Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT WINAPI Reset() override { return E_NOTIMPL; }
    HRESULT WINAPI Clone(IEnumVARIANT**) override { return E_NOTIMPL; }

  private:
    Opening opening_;
    std::vector<std::string> paths_;
    std::size_t at_ = 0;
};

HRESULT WINAPI Entry::get__NewEnum(IUnknown** enumerator) {
    auto paths = object_->children();
    if (!paths) return hresultOf(paths);
    *enumerator = new Children(opening_, std::move(*paths));
    return S_OK;
}

class Namespace final : public ComObject<IADsOpenDSObject> {
  public:
    explicit Namespace(std::shared_ptr<Backend> backend) : backend_(std::move(backend)) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        return answer(id, found, {{IID_IADsOpenDSObject, this}, {IID_IDispatch, this}, {IID_IUnknown, this}});
    }
    HRESULT WINAPI OpenDSObject(BSTR name, BSTR user, BSTR password, __LONG32 flags,
                                IDispatch** object) override {
        const std::string path = fromBstr(name);
        Opening opening{backend_,
                        {fromBstr(user), CORE::secretstring(fromBstr(password))},
                        static_cast<std::uint32_t>(flags)};
        backend_->record("open " + path + " " + opening.credentials.user + " " +
                         std::string(opening.credentials.password.view()) + " " + std::to_string(flags));
        auto search = backend_->services->openSearch(path, opening.credentials, opening.flags);
        if (!search) return hresultOf(search);
        *object = static_cast<IADs*>(new Entry(std::move(opening), path, std::move(*search)));
        return S_OK;
    }

  private:
    std::shared_ptr<Backend> backend_;
};

class Factory final : public ComObject<IClassFactory> {
  public:
    explicit Factory(std::shared_ptr<Backend> backend) : backend_(std::move(backend)) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        return answer(id, found, {{IID_IClassFactory, this}, {IID_IUnknown, this}});
    }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** made) override {
        auto* object = new Namespace(backend_);
        const HRESULT hr = object->QueryInterface(id, made);
        object->Release();
        return hr;
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

  private:
    std::shared_ptr<Backend> backend_;
};

// The platform's own class for "LDAP:", and one of the tests' for "GC:".
constexpr CLSID ldapProvider = {0x228D9A82, 0xC302, 0x11cf, {0x9A, 0xA4, 0x00, 0xAA, 0x00, 0x4A, 0x56, 0x91}};
constexpr CLSID gcProvider = {0x6C1A7E10, 0x52B7, 0x4D0E, {0x9B, 0x31, 0x3E, 0x77, 0x1D, 0x20, 0xA4, 0x5C}};
constexpr wchar_t gcClassText[] = L"{6C1A7E10-52B7-4D0E-9B31-3E771D20A45C}";
constexpr wchar_t gcKey[] = L"Software\\Microsoft\\ADs\\Providers\\GC";
constexpr wchar_t gcClassKey[] = L"Software\\Classes\\WsTestGlobalCatalog";

void setDefaultValue(const std::wstring& key, const std::wstring& value) {
    RegSetValueW(HKEY_LOCAL_MACHINE, key.c_str(), REG_SZ, value.c_str(),
                 static_cast<DWORD>(value.size() * sizeof(wchar_t)));
}

}  // namespace

struct AdsProvider::State {
    std::shared_ptr<Backend> backend;
    DWORD cookies[2]{};
    int before = 0;
};

AdsProvider::AdsProvider(std::shared_ptr<DirectoryServices> behind) : state_(std::make_unique<State>()) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    state_->backend = std::make_shared<Backend>();
    tellsTexts = true;
    state_->backend->services = std::move(behind);
    setDefaultValue(gcKey, L"WsTestGlobalCatalog");
    setDefaultValue(std::wstring(gcClassKey) + L"\\CLSID", gcClassText);
    const CLSID* classes[] = {&ldapProvider, &gcProvider};
    for (int i = 0; i < 2; ++i) {
        auto* factory = new Factory(state_->backend);
        CoRegisterClassObject(*classes[i], factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                              &state_->cookies[i]);
        factory->Release();
    }
    state_->before = liveComObjects;
}

AdsProvider::~AdsProvider() {
    for (const DWORD cookie : state_->cookies) CoRevokeClassObject(cookie);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, gcKey);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, gcClassKey);
    CoUninitialize();
}

std::vector<std::string> AdsProvider::calls() const {
    const std::lock_guard hold(state_->backend->mutex);
    return state_->backend->calls;
}

void AdsProvider::say(const wchar_t* text) {
    ADsSetLastError(ERROR_ACCESS_DENIED, text, L"test");
}

void AdsProvider::failWithoutTexts() {
    tellsTexts = false;
}

void AdsProvider::bringNothings(int count) {
    state_->backend->nothings = count;
}

int AdsProvider::liveObjects() const {
    return liveComObjects - state_->before;
}

}  // namespace wstest
