// What this server's configuration directory keeps of its part in the federation: a state flag of the server
// and one of its pod, the progress of the operation that runs, and how the last installation ended.
#pragma once

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace wsadmin::qrv {

enum class Member { server, pod };

// Values of a flag. A pending one is that of an operation that runs, or that did not come to its end.
inline constexpr int pending = -1, disabled = 0, enabled = 1;

class State {
  public:
    explicit State(platform::Platform& platform) : platform_(platform) {}

    // Failures are logged. A flag that is no number is a failure.
    Result<int> flag(Member member);
    Result<void> setFlag(Member member, int value);

    // Both belong to the server; what cannot be written is logged alone.
    void setProgress(int percent);
    void setOutcome(std::wstring_view code);
    Result<std::wstring> outcome();

  private:
    Result<std::string> entryOf(Member member) const;  // its name
    Result<std::wstring> read(Member member, const char* attribute);
    Result<void> write(Member member, const char* attribute, const std::string& value);

    platform::Platform& platform_;
};

}  // namespace wsadmin::qrv
