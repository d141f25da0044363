// A service on a stand-in machine, and requests to it through the dispatcher.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "framework/ws_admin_operation.h"
#include "framework/ws_admin_service.h"
#include "platform/platform.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/scripted_directory_services.h"

namespace wsadmin {

// Folders that are there only when a test says so.
struct StandInFolders : platform::Folders {
    std::map<platform::Folder, std::wstring> known{{platform::Folder::commonAppData, L"C:\\ProgramData"}};
    bool broken = false;

    Result<std::wstring> get(platform::Folder folder) const override {
        if (broken) throw std::runtime_error("folders are broken");
        const auto found = known.find(folder);
        return found != known.end() ? Result<std::wstring>(found->second) : fail(2, L"no such folder");
    }
    Result<std::wstring> windowsDirectory() const override { return std::wstring(); }
};

class FrameTest : public testing::Test {
  protected:
    struct Outcome {
        bool handled = false;
        CORE::PropertyBag response;
    };

    FrameTest() {
        machine->folders = folders;
        machine->clock = std::make_shared<wstest::ManualClock>();
        machine->directoryServices = directories;
        service = makeService();
    }

    CORE::refptr<ws_admin_service> makeService() {
        CORE::PropertyBag parameters;
        parameters.setBool(L"InitiateDomainChecks", false);
        return CORE::refptr<ws_admin_service>::adopt(new ws_admin_service(parameters, machine, threads));
    }
    Outcome dispatch(const wchar_t* operation, const CORE::PropertyBag& request = {}) {
        Outcome outcome;
        const auto item = CORE::refptr<ws_admin_operation>::adopt(new ws_admin_operation(service));
        outcome.handled = item->MessageHandler(operation, request, outcome.response);
        return outcome;
    }

    std::shared_ptr<platform::Platform> machine = std::make_shared<platform::Platform>();
    std::shared_ptr<StandInFolders> folders = std::make_shared<StandInFolders>();
    std::shared_ptr<wstest::ScriptedDirectoryServices> directories =
        std::make_shared<wstest::ScriptedDirectoryServices>();
    CORE::ThreadGroup threads{L"test"};
    CORE::refptr<ws_admin_service> service;
};

}  // namespace wsadmin
