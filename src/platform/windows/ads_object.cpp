// Objects by ADSI.

#include "platform/ldap/ldap_limits.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"
#include "platform/windows/ads_directory.h"
#include "platform/windows/ads_values.h"
#include "platform/windows/wide_secret.h"

namespace wsadmin::platform::windows {

namespace {

// Written out, where fail(adsRefusal(...)) would hide what the line is about.
tl::unexpected<Failure> refuse(AdsCode code) {
    return fail(adsRefusal(code));
}

template <class Call>
Result<void> call(Call function) {
    if (const auto done = callAds(function); !done) return fail(done.error());
    return {};
}

// One name below an entry, as a path has it; nothing where it is none or reaches deeper.
std::optional<Bstr> childName(std::string_view rdn) {
    const auto name = parseDn(rdn);
    if (!name || name->size() != 1) return std::nullopt;
    return std::make_optional<Bstr>(std::string_view(escapeSlashes(rdn)));
}

class AdsObject final : public DirectoryObject {
  public:
    AdsObject(std::shared_ptr<Apartment> apartment, UniqueCom<IADs> object, bool isNew)
        : apartment_(std::move(apartment)), object_(std::move(object)), isNew_(isNew) {}

    std::string path() const override {
        Bstr text;
        object_->get_ADsPath(text.receive());
        return text.utf8();
    }
    std::string className() const override {
        Bstr text;
        object_->get_Class(text.receive());
        return text.utf8();
    }

    Result<DirectoryValue> get(std::string_view name) override {
        auto values = read(name, &IADs::Get);
        if (!values) return fail(values.error());
        return std::move(values->front());
    }
    Result<std::vector<DirectoryValue>> getEx(std::string_view name) override {
        return read(name, &IADs::GetEx);
    }

    Result<void> put(std::string_view name, const DirectoryValue& value) override {
        if (name.empty()) return refuse(adsBadParameter);
        if (auto current = refresh(); !current) return current;
        Variant variant;
        if (const HRESULT hr = toVariant(value, variant); FAILED(hr)) return fail(adsRefusal(hr));
        return call([&] { return object_->Put(Bstr(name).get(), variant.get()); });
    }
    Result<void> putEx(PutOperation operation, std::string_view name,
                       const std::vector<DirectoryValue>& values) override {
        const bool clears = operation == PutOperation::clear;
        if (name.empty() || clears != values.empty()) return refuse(adsBadParameter);
        if (auto current = refresh(); !current) return current;
        Variant variant;
        if (!clears)
            if (const HRESULT hr = toVariantArray(values, variant); FAILED(hr)) return fail(adsRefusal(hr));
        return call([&] {
            return object_->PutEx(static_cast<__LONG32>(operation), Bstr(name).get(), variant.get());
        });
    }
    Result<void> setInfo() override {
        if (auto written = call([&] { return object_->SetInfo(); }); !written) return written;
        isNew_ = false;
        stale_ = true;
        return {};
    }

    Result<std::unique_ptr<DirectoryObject>> create(std::string_view objectClass,
                                                    std::string_view rdn) override {
        const auto name = childName(rdn);
        if (!name) return refuse(adsBadPathName);
        if (objectClass.empty()) return refuse(adsBadParameter);
        const auto container = containerOf();
        if (!container) return refuse(adsNotImplemented);
        IDispatch* made = nullptr;
        const auto created =
            callAds([&] { return container->Create(Bstr(objectClass).get(), name->get(), &made); });
        if (!created) return fail(created.error());
        const UniqueCom<IDispatch> owner(made);
        auto child = queryCom<IADs>(made, IID_IADs);
        if (!child) return refuse(adsNotImplemented);
        return std::make_unique<AdsObject>(apartment_, std::move(child), true);
    }
    Result<void> deleteObject() override {
        const auto deletion = queryCom<IADsDeleteOps>(object_.get(), IID_IADsDeleteOps);
        if (!deletion) return refuse(adsNotImplemented);
        return call([&] { return deletion->DeleteObject(0); });
    }
    Result<void> removeChild(std::string_view objectClass, std::string_view rdn) override {
        const auto name = childName(rdn);
        if (!name) return refuse(adsBadPathName);
        const auto container = containerOf();
        if (!container) return refuse(adsNotImplemented);
        return call([&] { return container->Delete(Bstr(objectClass).get(), name->get()); });
    }
    Result<void> moveHere(std::string_view path, std::string_view newRdn) override {
        const auto from = parseDirectoryPath(path);
        const auto name = newRdn.empty() ? std::make_optional<Bstr>() : childName(newRdn);
        if (!from || from->dn.empty() || !name) return refuse(adsBadPathName);
        const auto container = containerOf();
        if (!container) return refuse(adsNotImplemented);
        IDispatch* moved = nullptr;
        const Bstr source(std::string_view(directoryPathText(*from)));
        auto outcome = call([&] { return container->MoveHere(source.get(), name->get(), &moved); });
        const UniqueCom<IDispatch> owner(moved);
        return outcome;
    }

    Result<std::vector<std::string>> children() override {
        const auto container = containerOf();
        if (!container) return refuse(adsNotImplemented);
        IEnumVARIANT* made = nullptr;
        if (auto built = call([&] { return ADsBuildEnumerator(container.get(), &made); }); !built)
            return fail(built.error());
        const std::unique_ptr<IEnumVARIANT, Freer<ADsFreeEnumerator>> enumerator(made);
        LdapAllowance allowance{LdapLimits{}};
        for (std::vector<std::string> paths;;) {
            Variant child;
            ULONG fetched = 0;
            const auto next =
                call([&] { return ADsEnumerateNext(enumerator.get(), 1, child.receive(), &fetched); });
            if (!next) return fail(next.error());
            if (fetched == 0) return paths;
            // Each counts, also what is no entry: a provider may bring it without end.
            if (auto within = allowance.take(std::uint64_t{0}); !within)
                return fail(adsResultsTooLarge, within.error().text);
            if (V_VT(&child.get()) != VT_DISPATCH) continue;
            if (const auto entry = queryCom<IADs>(V_DISPATCH(&child.get()), IID_IADs)) {
                Bstr path;
                if (auto read = call([&] { return entry->get_ADsPath(path.receive()); }); !read)
                    return fail(read.error());
                paths.push_back(path.utf8());
            }
        }
    }

    Result<void> setPassword(const CORE::secretstring& password) override {
        const auto user = queryCom<IADsUser>(object_.get(), IID_IADsUser);
        if (!user) return refuse(adsNotImplemented);
        const SecretBstr text(password.view());
        return call([&] { return user->SetPassword(text.get()); });
    }
    Result<void> putAccountDisabled(bool disabled) override {
        const auto user = queryCom<IADsUser>(object_.get(), IID_IADsUser);
        if (!user) return refuse(adsNotImplemented);
        if (auto current = refresh(); !current) return current;
        return call([&] { return user->put_AccountDisabled(disabled ? VARIANT_TRUE : VARIANT_FALSE); });
    }
    Result<void> addMember(std::string_view path) override {
        const auto group = queryCom<IADsGroup>(object_.get(), IID_IADsGroup);
        if (!group) return refuse(adsNotImplemented);
        return call([&] { return group->Add(Bstr(path).get()); });
    }

  private:
    using Reader = HRESULT (WINAPI IADs::*)(BSTR, VARIANT*);

    UniqueCom<IADsContainer> containerOf() const {
        return queryCom<IADsContainer>(object_.get(), IID_IADsContainer);
    }

    // After a write the cache holds what was put, not what the directory made of it. Never between a put and
    // its setInfo: it would undo the put.
    Result<void> refresh() {
        if (!stale_) return {};
        if (auto read = call([&] { return object_->GetInfo(); }); !read) return read;
        stale_ = false;
        return {};
    }

    Result<std::vector<DirectoryValue>> read(std::string_view name, Reader reader) {
        if (auto current = refresh(); !current) return fail(current.error());
        const Bstr wide(name);
        Variant found;
        const auto readCached = [&] {
            return call([&] { return (object_.get()->*reader)(wide.get(), found.receive()); });
        };
        auto done = readCached();
        if (!done && done.error().code == adsPropertyNotFound && !isNew_) {
            // Constructed attributes come only when they are asked for by name.
            Variant names;
            if (const HRESULT hr = toVariantArray({std::string(name)}, names); FAILED(hr))
                return fail(adsRefusal(hr));
            done = call([&] { return object_->GetInfoEx(names.get(), 0); });
            if (done) done = readCached();
        }
        if (!done) return fail(done.error());
        auto values = variantValues(found.get());
        if (values.empty()) return refuse(adsPropertyNotFound);
        return values;
    }

    std::shared_ptr<Apartment> apartment_;  // released last
    UniqueCom<IADs> object_;
    bool isNew_;
    bool stale_ = false;
};

}  // namespace

std::unique_ptr<DirectoryObject> makeAdsObject(std::shared_ptr<Apartment> apartment, UniqueCom<IADs> object) {
    return std::make_unique<AdsObject>(std::move(apartment), std::move(object), false);
}

}  // namespace wsadmin::platform::windows
