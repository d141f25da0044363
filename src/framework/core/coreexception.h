// The framework's exception, for broken promises and not for expected failures. It carries a wide text.
#pragma once

#include <exception>
#include <string>

#include "framework/core/export.h"

namespace CORE {

class MFWCORE_API coreException : public std::exception {
  public:
    explicit coreException(std::wstring text);
    ~coreException() override;
    const char* what() const noexcept override { return utf8_.c_str(); }
    const std::wstring& text() const noexcept { return text_; }

  private:
    std::wstring text_;
    std::string utf8_;
};

}  // namespace CORE
