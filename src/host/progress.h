// How far an operation on the federation has come, as its log tells it.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace hdqadmin {

// One thread at a time.
class Progress {
  public:
    // A bar in the last line of a terminal, a line for each step, nothing but the state flags at the end, or
    // not even these.
    enum class Form { bar, lines, flags, none };
    Progress(std::ostream& out, Form form) : out_(out), form_(form) {}

    // A line of the log. Those that tell neither progress nor a step nor a state flag are passed over.
    void take(int level, std::wstring_view text);
    // Clears the bar's line for something else; the next step brings the bar back.
    void hide();
    // The operation has ended.
    void end();

    // The state flags of the server and its pod as they were last written; empty where none was.
    std::string flags() const;

  private:
    void show();

    std::ostream& out_;
    Form form_;
    std::optional<int> percent_;
    std::wstring step_;
    std::wstring serverFlag_, podFlag_;
    std::size_t width_ = 0;  // of the bar that is shown
};

}  // namespace hdqadmin
