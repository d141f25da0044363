// A provider of ADSI that the tests bring: COM classes that answer what the platform's own client library
// asks.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/directory_services.h"

namespace wstest {

// While it lives, "LDAP:" and "GC:" paths that this process opens by ADSI lead to these services.
class AdsProvider {
  public:
    explicit AdsProvider(std::shared_ptr<wsadmin::platform::DirectoryServices> behind);
    ~AdsProvider();
    AdsProvider(const AdsProvider&) = delete;
    AdsProvider& operator=(const AdsProvider&) = delete;

    // What was called of the COM interfaces, in order, and with what: "open PATH USER PASSWORD FLAGS" and so
    // on.
    std::vector<std::string> calls() const;
    static void say(const wchar_t* text);  // on this thread, as the text of a failure
    void failWithoutTexts();               // from now on
    void bringNothings(int count);         // before the children of an entry: values that are no objects
    int liveObjects() const;               // COM objects that somebody still holds

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace wstest
