#include "federation/replica.h"

#include <array>
#include <utility>

#include "federation/consistency.h"
#include "federation/endpoint.h"
#include "federation/installation.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pod_facts.h"
#include "federation/programs.h"
#include "federation/replication_entry.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

constexpr std::wstring_view schemaMasterTool = L"%WINDIR%\\system32\\dsmgmt.exe";

class Replica : public Installation {
  public:
    Replica(ServiceContext& service, SourceServer source)
        : Installation(service), source_(std::move(source)) {}

    Result<void> connect() { return testConnection(service(), source_); }

    // The first question to the source. That it refuses the account is this step's failure, and that it does
    // not answer the next one's.
    Result<void> logOn() {
        logDebug(L"Get DNS host name via ldap lookup to %s:%s, username: %s", source_.host, ldapPort,
                 source_.account.user);
        hostName_ = readRoot(platform(), source_, attribute::hostName);
        if (hostName_) return {};
        logVerbose(L"Error when attempting first connection: 0x%x",
                   static_cast<unsigned>(hostName_.error().code));
        if (hostName_.error().code != platform::adsLogonFailure) return {};
        return fail(L"Invalid username or password.");
    }

    // From here on the source is known by its own name.
    Result<void> takeHostName() {
        if (!hostName_ || hostName_->empty())
            return fail(L"Failed to obtain required information from remote global LDAP instance on " +
                        CORE::toWide(source_.host) + L":" + ldapPort + L".");
        source_.host = CORE::toUtf8(*hostName_);
        return {};
    }

    Result<void> compareWithClock() { return compareClocks(platform(), source_); }

    Result<void> findPrograms() {
        logInfo(L"Installing replica global LDAP instance from %ws:%ws", source_.host, ldapPort);
        return require(std::array{installer, schemaMasterTool, ldifTool},
                       L"Unable to install LDAP replica global instance - ");
    }

    Result<void> testBind() { return testServersBind(platform(), source_); }

    Result<void> removeOwnStaleEntry() {
        const auto name = ownNetBiosName(platform());
        if (!name) return fail(name.error());
        const auto host = ownHostName(platform());
        if (!host) return fail(host.error());
        return removeStaleEntry(platform(), source_, {.netBiosName = *name, .hostName = *host});
    }

    Result<void> writeReplicaAnswers() {
        const auto account = credentialsOf(source_.account);
        if (!account) return fail(account.error());
        return writeAnswers(replicaAnswerFile(answersOfMachine(), source_.host, *account));
    }

    Result<void> install() {
        return runInstaller(L"LDAP replica global instance create command completed successfully");
    }

    Result<void> receiveData() { return force(Flow::incoming); }
    Result<void> sendData() { return force(Flow::outgoing); }
    Result<void> becomeSchemaMaster() { return takeSchemaMaster(service()); }
    Result<void> enableOwnEndpoint() { return enableEndpoint(service(), source_); }

  private:
    Result<void> force(Flow flow) { return forceConsistency(service(), source_.host, flow, source_.account); }

    SourceServer source_;
    Result<std::wstring> hostName_ = std::wstring();  // what the source answered
};

using R = Replica;

constexpr std::wstring_view otherClock =
    L"Failed to validate clock synchronization. The clock time on this computer and the remote comuter must "
    L"be similar";
constexpr std::wstring_view noBind =
    L"Unable to install LDAP replica global instance - check provided credentials are correct";
constexpr std::wstring_view staleEntry =
    L"Unable to install LDAP replica global instance - an existing replication entry is present with the "
    L"same name, which must be manually removed";
constexpr std::wstring_view noReplicaFile =
    L"Unable to install LDAP replica global instance - unable to create temporary file";
constexpr std::wstring_view unwrittenAnswers =
    L"Unable to install LDAP replica global instance - unable to open temporary file";
constexpr std::wstring_view nothingReceived = L"Unable to force consistency on local instance";
constexpr std::wstring_view notMaster = L"Unable to take the schema master role";
constexpr std::wstring_view nothingSent = L"Unable to force consistency on remote instance";
constexpr std::wstring_view notReceived =
    L"Unable to install global LDAP instance - unable to receive changes";

// clang-format off
constexpr Step<Replica> replicaInstance[] = {
    {.name = L"connection",           .progress = 0,   .run = &R::connect,                                          .outcome = outcome::unreachable},
    {.name = L"logon",                                 .run = &R::logOn,                                            .outcome = outcome::noPermission},
    {.name = L"host name",                             .run = &R::takeHostName,                                     .outcome = outcome::unreachable},
    {.name = L"connection by it",                      .run = &R::connect,                                          .outcome = outcome::unreachable},
    {.name = L"clock",                                 .run = &R::compareWithClock,    .sentence = otherClock,      .outcome = outcome::noTimeSync},
    {.name = L"programs",                              .run = &R::findPrograms,                                     .outcome = outcome::fileSystem},
    {.name = L"bind",                                  .run = &R::testBind,            .sentence = noBind,          .outcome = outcome::noPermission},
    {.name = L"stale entry",                           .run = &R::removeOwnStaleEntry, .sentence = staleEntry,      .outcome = outcome::data},
    {.name = L"answer file",                           .run = &R::makeFile,            .sentence = noReplicaFile,   .outcome = outcome::fileSystem},
    {.name = L"answers",                               .run = &R::writeReplicaAnswers, .sentence = unwrittenAnswers, .outcome = outcome::fileSystem},
    {.name = L"instance",                              .run = &R::install,                                          .outcome = outcome::error},
    {.name = L"services, firewall",                    .run = &R::configure},
    {.name = L"instance is there",    .progress = 30},
};
// Between them the configuration's steps.
constexpr Step<Replica> replicaContent[] = {
    {.name = L"incoming data",                         .run = &R::receiveData,         .sentence = nothingReceived, .outcome = outcome::replication},
    {.name = L"schema master",        .progress = 50,  .run = &R::becomeSchemaMaster,  .sentence = notMaster,       .outcome = outcome::schema},
    {.name = L"schema",               .progress = 60,  .run = &R::importSchema,                                     .outcome = outcome::schema},
    {.name = L"starter data file",    .progress = 80,  .announcement = L"Loading starter data",
                                                       .run = &R::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::fileSystem},
    {.name = L"starter data",                          .run = &R::writeStarterData,                                 .outcome = outcome::data},
    {.name = L"its import",                            .run = &R::importFile,                                       .outcome = outcome::data},
    {.name = L"membership file",      .progress = 90,  .run = &R::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::fileSystem},
    {.name = L"role membership",                       .run = &R::writeRoleMembership,                              .outcome = outcome::data},
    {.name = L"its import",                            .run = &R::importFile,                                       .outcome = outcome::data},
    {.name = L"outgoing data",                         .run = &R::sendData,            .sentence = nothingSent,     .outcome = outcome::replication},
    {.name = L"endpoint",             .progress = 95,  .run = &R::enableOwnEndpoint,   .sentence = notReceived,     .outcome = outcome::replication},
    {.name = L"end",                  .progress = 100,                                                              .outcome = outcome::ok},
};
// clang-format on

}  // namespace

Result<void> installReplica(ServiceContext& service, const SourceServer& source) {
    Replica work(service, source);
    State state(service.platform());
    auto done = runSteps<Replica>(work, &state, replicaInstance);
    if (done) done = runSteps<Installation>(work, &state, configurationSteps());
    if (done) done = runSteps<Replica>(work, &state, replicaContent);
    return done;
}

}  // namespace wsadmin::qrv
