// What every COM object of the tests has: its count, its interfaces, and no automation.
#pragma once

#include <windows.h>
// After windows.h:
#include <oleauto.h>

#include <atomic>
#include <initializer_list>
#include <utility>

namespace wstest {

inline std::atomic<int> liveComObjects{0};

// COM's interfaces have no destructors: only Release deletes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
template <class... Interfaces>
class ComObject : public Interfaces... {
  public:
    ComObject() { ++liveComObjects; }
    virtual ~ComObject() { --liveComObjects; }
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    ULONG WINAPI AddRef() override { return ++count_; }
    ULONG WINAPI Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }
    // Automation (of interfaces that have it): nobody here calls by name.
    virtual HRESULT WINAPI GetTypeInfoCount(UINT*) { return E_NOTIMPL; }
    virtual HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) { return E_NOTIMPL; }
    virtual HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) { return E_NOTIMPL; }
    virtual HRESULT WINAPI Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) {
        return E_NOTIMPL;
    }

  protected:
    HRESULT answer(REFIID id, void** object, std::initializer_list<std::pair<IID, void*>> interfaces) {
        *object = nullptr;
        for (const auto& [known, pointer] : interfaces)
            if (known == id) *object = pointer;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

  private:
    std::atomic<ULONG> count_{1};
};
#pragma GCC diagnostic pop

}  // namespace wstest
