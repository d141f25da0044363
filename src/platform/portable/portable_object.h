// Entries of the portable directory services.
#pragma once

#include "platform/portable/portable_binding.h"

namespace wsadmin::platform {

class PortableObject final : public DirectoryObject {
  public:
    // Opens the entry that the binding names; fails where it is not there.
    static Result<std::unique_ptr<DirectoryObject>> read(PortableBinding binding);

    std::string path() const override { return directoryPathText(binding_.path); }
    std::string className() const override { return className_; }
    Result<DirectoryValue> get(std::string_view name) override;
    Result<std::vector<DirectoryValue>> getEx(std::string_view name) override;
    Result<void> put(std::string_view name, const DirectoryValue& value) override;
    Result<void> putEx(PutOperation operation, std::string_view name,
                       const std::vector<DirectoryValue>& values) override;
    Result<void> setInfo() override;
    Result<std::unique_ptr<DirectoryObject>> create(std::string_view objectClass,
                                                    std::string_view rdn) override;
    Result<void> deleteObject() override;
    Result<void> removeChild(std::string_view objectClass, std::string_view rdn) override;
    Result<void> moveHere(std::string_view path, std::string_view newRdn) override;
    Result<std::vector<std::string>> children() override;
    Result<void> setPassword(const CORE::secretstring& password) override;
    Result<void> putAccountDisabled(bool disabled) override;
    Result<void> addMember(std::string_view path) override;

    PortableObject(PortableBinding binding, std::string className)
        : binding_(std::move(binding)), className_(std::move(className)) {}

  private:
    const std::string& dn() const noexcept { return binding_.path.dn; }
    // One entry by its name, with these attributes (none: all).
    Result<LdapEntry> readEntry(const std::string& dn, std::vector<std::string> attributes) const;
    Result<std::string> childDn(std::string_view rdn) const;
    Result<std::vector<std::string>> wireValues(std::string_view name);
    LdapEntry newEntry() const;
    Result<void> reported(const Result<void>& done) const;

    PortableBinding binding_;
    std::string className_;
    bool isNew_ = false;
    bool stale_ = false;  // written since it was read
    std::vector<LdapAttribute> attributes_;
    std::vector<LdapModification> changes_;
};

}  // namespace wsadmin::platform
