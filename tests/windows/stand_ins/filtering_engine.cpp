#include "windows/stand_ins/filtering_engine.h"

#include <algorithm>
#include <map>

namespace test {

FilteringStandIn& filteringStandIn() {
    static FilteringStandIn standIn;
    return standIn;
}

namespace {

struct Enumeration {
    std::vector<void*> entries;
    std::size_t at = 0;
};

int engineTag;
std::map<HANDLE, Enumeration> enumerations;
std::map<void*, std::vector<void*>> batches;  // by the arrays that were given away
std::vector<std::vector<void*>> freed;        // kept, so that who uses them finds null
const HANDLE theEngine = &engineTag;

DWORD note(const std::string& call, HANDLE engine = theEngine) {
    FilteringStandIn& standIn = filteringStandIn();
    standIn.calls.push_back(engine == theEngine ? call : call + " of no engine");
    const std::string function = call.substr(0, call.find(' '));
    return function == standIn.failing && --standIn.occurrence == 0 ? standIn.code : ERROR_SUCCESS;
}

DWORD create(DWORD code, std::vector<void*> entries, HANDLE* made) {
    static std::size_t last = 0;
    if (code != ERROR_SUCCESS) return code;
    *made = reinterpret_cast<HANDLE>(++last);
    enumerations[*made].entries = std::move(entries);
    return code;
}

DWORD next(DWORD code, HANDLE enumeration, UINT32 requested, void*** given, UINT32* count) {
    if (code != ERROR_SUCCESS) return code;
    Enumeration& from = enumerations.at(enumeration);
    const auto begin = from.entries.begin() + static_cast<std::ptrdiff_t>(from.at);
    *count = static_cast<UINT32>(std::min<std::size_t>(requested, from.entries.size() - from.at));
    from.at += *count;
    std::vector<void*> batch(begin, begin + *count);
    *given = batch.data();
    if (*count > 0) batches[*given] = std::move(batch);
    return code;
}

DWORD destroy(DWORD code, HANDLE enumeration) {
    return enumerations.erase(enumeration) == 1 ? code : note("destroyed what is not there");
}

}  // namespace
}  // namespace test

#define WS_EXPORT __declspec(dllexport)

extern "C" {

WS_EXPORT DWORD WINAPI FwpmEngineOpen0(const wchar_t* server, UINT32 service,
                                       SEC_WINNT_AUTH_IDENTITY_W* identity, const FWPM_SESSION0* session,
                                       HANDLE* engine) {
    const bool plain = !server && !identity && !session;
    *engine = test::theEngine;
    return test::note("FwpmEngineOpen0 " + std::to_string(service) + (plain ? "" : " and more"));
}

WS_EXPORT DWORD WINAPI FwpmEngineClose0(HANDLE engine) {
    return test::note(__func__, engine);
}

WS_EXPORT void WINAPI FwpmFreeMemory0(void** memory) {
    auto batch = test::batches.extract(*memory);
    test::note(batch ? "FwpmFreeMemory0" : "FwpmFreeMemory0 of what is not there");
    *memory = nullptr;
    if (!batch) return;
    std::ranges::fill(batch.mapped(), nullptr);
    test::freed.push_back(std::move(batch.mapped()));
}

WS_EXPORT DWORD WINAPI IPsecSaCreateEnumHandle0(HANDLE engine, const IPSEC_SA_ENUM_TEMPLATE0* pattern,
                                                HANDLE* made) {
    std::vector<void*> entries;
    for (auto& one : test::filteringStandIn().associations) entries.push_back(&one);
    const DWORD code = test::note(std::string(__func__) + (pattern ? " some" : " all"), engine);
    return test::create(code, std::move(entries), made);
}

WS_EXPORT DWORD WINAPI IPsecSaEnum0(HANDLE engine, HANDLE enumeration, UINT32 requested,
                                    IPSEC_SA_DETAILS0*** entries, UINT32* count) {
    const DWORD code = test::note(__func__ + (" " + std::to_string(requested)), engine);
    return test::next(code, enumeration, requested, reinterpret_cast<void***>(entries), count);
}

WS_EXPORT DWORD WINAPI IPsecSaDestroyEnumHandle0(HANDLE engine, HANDLE enumeration) {
    return test::destroy(test::note(__func__, engine), enumeration);
}

WS_EXPORT DWORD WINAPI FwpmProviderContextCreateEnumHandle0(
    HANDLE engine, const FWPM_PROVIDER_CONTEXT_ENUM_TEMPLATE0* pattern, HANDLE* made) {
    const auto type = pattern->providerContextType;
    std::vector<void*> entries;
    for (auto& one : test::filteringStandIn().contexts)
        if (one.type == type && !pattern->providerKey) entries.push_back(&one);
    const DWORD code = test::note(__func__ + (" " + std::to_string(type)), engine);
    return test::create(code, std::move(entries), made);
}

WS_EXPORT DWORD WINAPI FwpmProviderContextEnum0(HANDLE engine, HANDLE enumeration, UINT32 requested,
                                                FWPM_PROVIDER_CONTEXT0*** entries, UINT32* count) {
    const DWORD code = test::note(__func__ + (" " + std::to_string(requested)), engine);
    return test::next(code, enumeration, requested, reinterpret_cast<void***>(entries), count);
}

WS_EXPORT DWORD WINAPI FwpmProviderContextDestroyEnumHandle0(HANDLE engine, HANDLE enumeration) {
    return test::destroy(test::note(__func__, engine), enumeration);
}
}
