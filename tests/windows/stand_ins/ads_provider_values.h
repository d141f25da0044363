// Values as a provider of ADSI gives and takes them; written apart from the adapter's, so that an error there
// is not undone by the same one here.
#pragma once

#include <windows.h>
// After windows.h:
#include <oleauto.h>
// After oleauto.h:
#include <iads.h>

#include <deque>
#include <vector>

#include "platform/directory_services.h"

namespace wstest {

using wsadmin::platform::DirectoryValue;

std::string fromBstr(BSTR text);
BSTR toBstr(const std::string& text);
VARIANT variantOf(const DirectoryValue& value);
VARIANT variantOf(const std::vector<DirectoryValue>& values);  // always an array
std::vector<DirectoryValue> valuesOf(const VARIANT& variant);

// The memory of one column.
struct ColumnStore {
    std::vector<ADSVALUE> values;
    std::deque<std::wstring> texts;
    std::deque<std::string> bytes;

    void add(const DirectoryValue& value);
};

}  // namespace wstest
