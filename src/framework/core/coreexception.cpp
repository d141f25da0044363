#include "framework/core/coreexception.h"

#include "framework/core/corestring.h"

namespace CORE {

coreException::coreException(std::wstring text) : text_(std::move(text)), utf8_(toUtf8(text_)) {}
coreException::~coreException() = default;

}  // namespace CORE
