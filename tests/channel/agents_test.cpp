// The operations on agents, over a channel to an agent's own workers.
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <csignal>

#include "channel/channel_fixture.h"
#include "framework/core/file_service.h"
#include "framework/core/security.h"
#include "host/service/desktop_manager.h"
#include "host/service/permit.h"
#include "machines/agent_operations.h"
#include "platform/portable/agent_channels.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace channel {
namespace {

namespace fs = std::filesystem;

class RemoteAgents : public testing::Test {
  protected:
    RemoteAgents() {
        for (const char* name : {"received", "logs", "bundles"}) fs::create_directory(folder_.path() / name);
        const CORE::FileAccess files{.received = {folder_.path() / "received"},
                                     .logs = {folder_.path() / "logs"},
                                     .bundles = {folder_.path() / "bundles"}};
        CORE::serveFiles(files);
        agent_.files = files;
        manager_.emplace(agent_);
        platform_->agents = wsadmin::platform::makeAgentChannels();
        request_.set(L"ticket", CORE::toWide(ticketText(host_.ticket(Rights::agent)).view()));
        request_.set(L"ipAddress", host_.address());
        folder_.write("logs/agent.log", content_);
    }
    ~RemoteAgents() override {
        EXPECT_EQ(MessageFrameWork::System().OpenChannels(), 0u);
        CORE::stopServingFiles();
    }
    template <auto method>
    std::wstring ask(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> keys = {}) {
        for (const auto& [name, value] : keys) request_.set(name, std::wstring_view(value));
        const PropertyBag answer = wstest::ask<method>(service_, request_);
        return answer.getError() != 0 ? L"! " + answer.getErrorText().str()
                                      : answer.flattenForDisplay().str();
    }
    std::size_t filesIn(const char* name) const {
        const fs::directory_iterator files(folder_.path() / name);
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    const std::string content_ = std::string(3'000'000, 'x') + "end";
    const TempFolder folder_;
    std::ostringstream log_;
    mfwhost::HostLog hostLog_{log_, CORE::logInfo};
    mfwhost::Agent agent_{"7.1", hostLog_, {}};
    std::optional<mfwhost::DesktopManager> manager_;
    static ServerLimits withoutTicks() {
        ServerLimits limits;
        limits.link.tick = std::chrono::hours(1);
        return limits;
    }
    Host host_{withoutTicks(), mfwhost::permitOf({})};
    std::shared_ptr<wsadmin::platform::Platform> platform_ = std::make_shared<wsadmin::platform::Platform>();
    wstest::TestService service_{platform_};
    PropertyBag request_;
};

TEST_F(RemoteAgents, AnswerOverARealChannel) {
    using wsadmin::RemoteAgent;
    EXPECT_EQ(ask<&RemoteAgent::setLogLevel>({{L"LogLevel", L"loud"}}), L"! There is no log level \"loud\"");
    EXPECT_EQ(ask<&RemoteAgent::getLogs>(),
              L"agent.log=" + (folder_.path() / "logs" / "agent.log").wstring());
    EXPECT_EQ(ask<&RemoteAgent::copyLog>({{L"filename", L"agent.log"}, {L"localFilename", L"a.log"}}), L"");
    EXPECT_EQ(folder_.read("received/a.log"), content_);
#if !defined(_WIN32)  // where these are all that there is
    EXPECT_EQ(fs::status(folder_.path() / "received/a.log").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
#endif
    EXPECT_EQ(ask<&RemoteAgent::createBundle>({{L"localFilename", L"b.txt"}}), L"");
    EXPECT_EQ(filesIn("bundles"), 0u);
    manager_.reset();
    for (int i = 1; i < 10'000; ++i) folder_.write("logs/" + std::to_string(i), "");
    for (const wchar_t* said :
         {L"", L"There are too many log files", L"The folder of the log files cannot be read: "}) {
        PropertyBag logs;
        CORE::MessageHandler::SendMsg(CORE::files::worker, CORE::files::getLogFiles, {}, logs);
        EXPECT_EQ(logs.size(), *said ? 0U : 10'000U);
        EXPECT_TRUE(logs.getErrorText().str().starts_with(said)) << said;
        if (*said)
            fs::remove_all(folder_.path() / "logs");
        else
            folder_.write("logs/one more", "");
    }
}

// Where a request has to end, its channel is closed at once, and another one deletes the bundle.
TEST_F(RemoteAgents, LeaveNothingOfACopyThatBreaksAndNoBundleWhenTheServiceStops) {
    using wsadmin::RemoteAgent;
    const wchar_t failed[] = L"! Could not create the file a";
    request_.set(L"filename", std::wstring_view(L"agent.log"));
    request_.set(L"localFilename", std::wstring_view(L"a"));
    host_.looks = 4;  // the handshake, the list of the logs and two of three parts
    EXPECT_EQ(ask<&RemoteAgent::copyLog>(), failed);
    EXPECT_EQ(filesIn("received"), 0u);
    host_.looks = 100;
#if !defined(_WIN32)  // a disk that is full after the first part, as far as the file can tell
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit full{CORE::files::readSize, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    const wstest::LogCapture log;
    EXPECT_EQ(ask<&RemoteAgent::copyLog>(), failed);
    EXPECT_TRUE(log.contains(CORE::logWarning, L"No copy of " +
                                                   (folder_.path() / "logs/agent.log").wstring() +
                                                   L" in a: the file cannot be written"));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(filesIn("received"), 0u);
#endif
    host_.looks = 100;
    host_.looked = [this](int left) {
        if (left == 98) service_.stop();  // the handshake and the bundle come before, a part of the copy
    };
    EXPECT_EQ(ask<&RemoteAgent::createBundle>(), failed);
    EXPECT_EQ(filesIn("bundles") + filesIn("received"), 0u);
    EXPECT_EQ(ask<&RemoteAgent::getVersion>(), L"! Cannot obtain channel for remote access");
}

// A file of an agent that answers its two bytes as the test says.
struct FileChannel final : CORE::MessageChannel {
    std::wstring size, identity;
    int sent = 0;
    RespType send(std::wstring_view, std::wstring_view, const PropertyBag&, PropertyBag& response,
                  const CORE::SendOptions& options) override {
        response.set(CORE::files::size, size);
        if (sent++ > 0) response.set(CORE::files::identity, identity);
        options.responseBinary->bytes() = {'a', 'b'};
        return RespType::handled;
    }
    void close() noexcept override {}
};

// What the worker answers to a request to copy a file of that channel.
std::wstring copied(const std::wstring& handle, const wchar_t* name = L"a", bool overwrite = false) {
    PropertyBag request, response;
    request.set(CORE::files::channel, handle);
    request.set(CORE::files::localFileName, std::wstring_view(name));
    request.setBool(CORE::files::overwrite, overwrite);
    CORE::MessageHandler::SendMsg(CORE::files::worker, CORE::files::copyFromRemoteFile, request, response);
    return response.getErrorText().str();
}

TEST_F(RemoteAgents, AreCopiedFromOpenChannelsAloneAndNotBelievedWhatCannotBe) {
    const auto channel = std::make_shared<FileChannel>();
    MessageFrameWork::System().OpenChannel(channel);
    const std::wstring handle = std::to_wstring(channel->handle());
    folder_.write("received/there", "kept");
    fs::create_directory(folder_.path() / "received" / "folder");
    const wchar_t noSize[] = L"the answer does not tell the file's size";
    const struct {
        const wchar_t *size, *identity, *refusal = L"", *name = L"a";
        bool overwrite = false;
    } rows[] = {{L"2", L""},
                {L"", L"", noSize},
                {L"2x", L"", noSize},
                {L"-1", L"", noSize},
                {L"1", L"", noSize},
                {L"4", L""},
                {L"4", L"another", L"the remote file became shorter or is another one"},
                {L"17179869185", L"", L"the file is too large"},
                {L"2", L"", L"the file exists", L"there"},
                {L"2", L"", L"it is no file", L"folder", true}};
    for (const auto& row : rows) {
        channel->size = row.size;
        channel->identity = row.identity;
        channel->sent = 0;
        EXPECT_EQ(copied(handle, row.name, row.overwrite), row.refusal) << row.size;
        EXPECT_EQ(fs::remove(folder_.path() / "received" / "a"), *row.refusal == 0);
        EXPECT_EQ(filesIn("received"), 2u);
    }
    EXPECT_EQ(folder_.read("received/there"), "kept");
    MessageFrameWork::System().CloseChannel(channel);
    for (const std::wstring& none :
         {handle, std::wstring(L"-1"), std::wstring(L"0"), std::wstring(L"1x"), std::wstring()})
        EXPECT_EQ(copied(none), L"There is no such channel") << none;
}

TEST_F(RemoteAgents, ReachNoFileElsewhere) {
    std::error_code unable;  // Wine makes no links
    fs::create_symlink(folder_.path(), folder_.path() / "logs" / "link", unable);
    const Open open(host_, host_.ticket(Rights::agent)), ofOperations(host_, host_.ticket());
    folder_.write("secret", "s");
    const auto asked = [](const Open& channel, const wchar_t* operation, const std::string& name) {
        PropertyBag request, response;
        request.set(CORE::files::fileName, std::string_view(name));
        request.set(CORE::files::offset, std::wstring_view(L"0"));
        channel.channel->send(CORE::files::worker, operation, request, response, {});
        return response;
    };
    for (const std::string& name :
         {folder_.utf8("secret"), folder_.utf8("logs/../secret"), folder_.utf8("logs/link/secret"),
          folder_.utf8("logs/link"), folder_.utf8("logs"), std::string("/dev/zero"), std::string()})
        for (const wchar_t* operation : {CORE::files::readFile, CORE::files::deleteFile})
            EXPECT_EQ(asked(open, operation, name).getErrorText(), L"There is no such file") << name;
    const std::string log = folder_.utf8("logs/agent.log");
    EXPECT_EQ(asked(open, CORE::files::deleteFile, log).getErrorText(), L"There is no such file");
    EXPECT_EQ(asked(open, CORE::files::copyFromRemoteFile, log).getError(), 120)
        << "a copy is for this machine";
    EXPECT_EQ(asked(ofOperations, CORE::files::readFile, log).getErrorText(),
              L"The ticket does not reach worker FileSystem");
    // Nor does a copy have such a name here.
    fs::create_symlink(folder_.path(), folder_.path() / "received" / "folder", unable);
    fs::create_symlink(folder_.path() / "new", folder_.path() / "received" / "file", unable);
    std::vector<std::string> names{folder_.utf8("received/../new"), folder_.utf8("receivednew"), "folder/new",
                                   "/dev/null", "."};
    if (!unable) names.emplace_back("file");
    for (const std::string& name : names)
        EXPECT_EQ(ask<&wsadmin::RemoteAgent::copyLog>(
                      {{L"filename", L"agent.log"}, {L"localFilename", CORE::toWide(name).c_str()}}),
                  L"! Could not create the file " + CORE::toWide(name));
    EXPECT_FALSE(fs::exists(folder_.path() / "new"));
}

}  // namespace
}  // namespace channel
