// The interfaces of users and groups on an entry of the tests' provider: what the system calls of them, and a
// refusal of everything else.
#pragma once

#include "windows/stand_ins/com_object.h"
// After windows.h:
#include <iads.h>

#include <functional>

namespace wstest {

// Every property that nobody here asks for, read and written.
#define WS_UNASKED_GET(name, Type)              \
    HRESULT WINAPI get_##name(Type*) override { \
        return E_NOTIMPL;                       \
    }
#define WS_UNASKED(name, Type)                 \
    WS_UNASKED_GET(name, Type)                 \
    HRESULT WINAPI put_##name(Type) override { \
        return E_NOTIMPL;                      \
    }

template <class Interface>
class AccountObject : public ComObject<Interface> {
  public:
    WS_UNASKED_GET(Name, BSTR)
    WS_UNASKED_GET(Class, BSTR)
    WS_UNASKED_GET(GUID, BSTR)
    WS_UNASKED_GET(ADsPath, BSTR)
    WS_UNASKED_GET(Parent, BSTR)
    WS_UNASKED_GET(Schema, BSTR)
    WS_UNASKED(Description, BSTR)
    HRESULT WINAPI GetInfo() override { return E_NOTIMPL; }
    HRESULT WINAPI SetInfo() override { return E_NOTIMPL; }
    HRESULT WINAPI Get(BSTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT WINAPI Put(BSTR, VARIANT) override { return E_NOTIMPL; }
    HRESULT WINAPI GetEx(BSTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT WINAPI PutEx(__LONG32, BSTR, VARIANT) override { return E_NOTIMPL; }
    HRESULT WINAPI GetInfoEx(VARIANT, __LONG32) override { return E_NOTIMPL; }

  protected:
    HRESULT answerAs(const IID& own, REFIID id, void** found) {
        Interface* self = this;
        return this->answer(id, found, {{own, self}, {IID_IDispatch, self}, {IID_IUnknown, self}});
    }
};

class UserObject final : public AccountObject<IADsUser> {
  public:
    struct Calls {
        std::function<HRESULT(BSTR)> setPassword;
        std::function<HRESULT(VARIANT_BOOL)> putAccountDisabled;
    };
    explicit UserObject(Calls calls) : calls_(std::move(calls)) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        return answerAs(IID_IADsUser, id, found);
    }
    HRESULT WINAPI SetPassword(BSTR password) override { return calls_.setPassword(password); }
    HRESULT WINAPI put_AccountDisabled(VARIANT_BOOL disabled) override {
        return calls_.putAccountDisabled(disabled);
    }
    WS_UNASKED_GET(AccountDisabled, VARIANT_BOOL)
    WS_UNASKED_GET(BadLoginAddress, BSTR)
    WS_UNASKED_GET(BadLoginCount, __LONG32)
    WS_UNASKED_GET(LastLogin, DATE)
    WS_UNASKED_GET(LastLogoff, DATE)
    WS_UNASKED_GET(LastFailedLogin, DATE)
    WS_UNASKED_GET(PasswordLastChanged, DATE)
    WS_UNASKED(Division, BSTR)
    WS_UNASKED(Department, BSTR)
    WS_UNASKED(EmployeeID, BSTR)
    WS_UNASKED(FullName, BSTR)
    WS_UNASKED(FirstName, BSTR)
    WS_UNASKED(LastName, BSTR)
    WS_UNASKED(OtherName, BSTR)
    WS_UNASKED(NamePrefix, BSTR)
    WS_UNASKED(NameSuffix, BSTR)
    WS_UNASKED(Title, BSTR)
    WS_UNASKED(Manager, BSTR)
    WS_UNASKED(TelephoneHome, VARIANT)
    WS_UNASKED(TelephoneMobile, VARIANT)
    WS_UNASKED(TelephoneNumber, VARIANT)
    WS_UNASKED(TelephonePager, VARIANT)
    WS_UNASKED(FaxNumber, VARIANT)
    WS_UNASKED(OfficeLocations, VARIANT)
    WS_UNASKED(PostalAddresses, VARIANT)
    WS_UNASKED(PostalCodes, VARIANT)
    WS_UNASKED(SeeAlso, VARIANT)
    WS_UNASKED(AccountExpirationDate, DATE)
    WS_UNASKED(GraceLoginsAllowed, __LONG32)
    WS_UNASKED(GraceLoginsRemaining, __LONG32)
    WS_UNASKED(IsAccountLocked, VARIANT_BOOL)
    WS_UNASKED(LoginHours, VARIANT)
    WS_UNASKED(LoginWorkstations, VARIANT)
    WS_UNASKED(MaxLogins, __LONG32)
    WS_UNASKED(MaxStorage, __LONG32)
    WS_UNASKED(PasswordExpirationDate, DATE)
    WS_UNASKED(PasswordMinimumLength, __LONG32)
    WS_UNASKED(PasswordRequired, VARIANT_BOOL)
    WS_UNASKED(RequireUniquePassword, VARIANT_BOOL)
    WS_UNASKED(EmailAddress, BSTR)
    WS_UNASKED(HomeDirectory, BSTR)
    WS_UNASKED(Languages, VARIANT)
    WS_UNASKED(Profile, BSTR)
    WS_UNASKED(LoginScript, BSTR)
    WS_UNASKED(Picture, VARIANT)
    WS_UNASKED(HomePage, BSTR)
    HRESULT WINAPI Groups(IADsMembers**) override { return E_NOTIMPL; }
    HRESULT WINAPI ChangePassword(BSTR, BSTR) override { return E_NOTIMPL; }

  private:
    Calls calls_;
};

class GroupObject final : public AccountObject<IADsGroup> {
  public:
    explicit GroupObject(std::function<HRESULT(BSTR)> add) : add_(std::move(add)) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        return answerAs(IID_IADsGroup, id, found);
    }
    HRESULT WINAPI Members(IADsMembers**) override { return E_NOTIMPL; }
    HRESULT WINAPI IsMember(BSTR, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT WINAPI Add(BSTR path) override { return add_(path); }
    HRESULT WINAPI Remove(BSTR) override { return E_NOTIMPL; }

  private:
    std::function<HRESULT(BSTR)> add_;
};

#undef WS_UNASKED
#undef WS_UNASKED_GET

}  // namespace wstest
