#include "framework/plugin_description.h"

#include <utility>

#include "framework/operation_table.h"

namespace wsadmin {

namespace {

std::wstring_view requiredName(Required required) {
    if (required == Required::depends) return L"depends";
    return required == Required::yes ? L"yes" : L"no";
}

void addKeys(CORE::PropertyBag& operation, std::wstring_view list, std::span<const Key> keys) {
    for (const Key& key : keys) {
        CORE::PropertyBag bag;
        bag.add(L"name", key.name);
        bag.add(L"type", keyTypeName(key.type));
        bag.add(L"required", requiredName(key.required));
        bag.add(L"default", key.fallback);
        bag.add(L"text", key.text);
        operation.addBag(list, std::move(bag));
    }
}

}  // namespace

CORE::PropertyBag describeOperations() {
    CORE::PropertyBag all;
    for (const Operation& operation : operationTable()) {
        CORE::PropertyBag bag;
        bag.add(L"name", operation.name);
        bag.add(L"shape", operation.shape == Shape::resultBag ? L"result-bag" : L"response-filling");
        bag.addBool(L"changes", operation.changes);
        bag.addBool(L"built", operation.built());
        bag.add(L"text", operation.text);
        bag.add(L"example", operation.example);
        addKeys(bag, L"request-key", operation.request);
        addKeys(bag, L"result-key", operation.result);
        all.addBag(L"operation", std::move(bag));
    }
    return all;
}

}  // namespace wsadmin
