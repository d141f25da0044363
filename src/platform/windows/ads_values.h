// Values of ADSI: variants of objects and typed values of search columns.
#pragma once

#include <vector>

#include "platform/directory_services.h"
#include "platform/windows/com.h"
// After the platform's base headers:
#include <iads.h>

namespace wsadmin::platform::windows {

// All values of a variant that is one or an array of them; what has no meaning here is left out.
std::vector<DirectoryValue> variantValues(const VARIANT& variant);
HRESULT toVariant(const DirectoryValue& value, Variant& variant);
HRESULT toVariantArray(const std::vector<DirectoryValue>& values, Variant& variant);
std::vector<DirectoryValue> columnValues(const ADS_SEARCH_COLUMN& column);

}  // namespace wsadmin::platform::windows
