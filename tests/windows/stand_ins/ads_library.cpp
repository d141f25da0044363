// The functions of activeds.dll that Wine's has as stubs. They stand here under their own names, so that the
// linker takes them before those of the library.
#include <windows.h>
// After windows.h:
#include <oleauto.h>
// After oleauto.h:
#include <iads.h>
// After iads.h:
#include <adshlp.h>

#include <string>

namespace {

struct LastError {
    DWORD code = 0;
    std::wstring text, provider;
};
thread_local LastError lastError;

void copyText(const std::wstring& text, LPWSTR buffer, DWORD size) {
    if (size > 0) buffer[text.copy(buffer, size - 1)] = L'\0';
}

}  // namespace

extern "C" {

HRESULT WINAPI ADsBuildEnumerator(IADsContainer* container, IEnumVARIANT** enumerator) {
    IUnknown* made = nullptr;
    if (const HRESULT hr = container->get__NewEnum(&made); FAILED(hr)) return hr;
    void* found = nullptr;
    const HRESULT hr = made->QueryInterface(IID_IEnumVARIANT, &found);
    made->Release();
    *enumerator = static_cast<IEnumVARIANT*>(found);
    return hr;
}

HRESULT WINAPI ADsEnumerateNext(IEnumVARIANT* enumerator, ULONG count, VARIANT* values, ULONG* fetched) {
    return enumerator->Next(count, values, fetched);
}

HRESULT WINAPI ADsFreeEnumerator(IEnumVARIANT* enumerator) {
    enumerator->Release();
    return S_OK;
}

HRESULT WINAPI ADsGetLastError(LPDWORD code, LPWSTR text, DWORD textSize, LPWSTR provider,
                               DWORD providerSize) {
    *code = lastError.code;
    copyText(lastError.text, text, textSize);
    copyText(lastError.provider, provider, providerSize);
    return S_OK;
}

void WINAPI ADsSetLastError(DWORD code, LPCWSTR text, LPCWSTR provider) {
    lastError = {code, text ? text : L"", provider ? provider : L""};
}
}
