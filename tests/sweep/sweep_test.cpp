// Every built operation with every call of every port failing once. The request then ends with an error and
// its sentence, or with the complete answer, or with one that answers.jsonl names; it closes what
// it opened, and the same request afterwards is answered as ever.
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <map>
#include <set>

#include "framework/operation_table.h"
#include "support/temp_folder.h"
#include "sweep/answers.h"
#include "sweep/lab_service.h"

namespace sweep {
namespace {

using CORE::toUtf8;
using wsadmin::Operation;

std::string titleOf(const PortFault& fault) {
    const bool every = fault.occurrence == PortFault::every;
    return fault.call + (every ? " each" : " #" + std::to_string(fault.occurrence)) + " -> " +
           std::to_string(fault.code) + (fault.lasting ? " for good" : "");
}

class Sweep : public testing::TestWithParam<const Operation*> {
  protected:
    void sweep(std::wstring_view keys) {
        request_ = requestOf(*GetParam(), keys, {WS_SOURCE_DIR, WS_SOURCE_DIR "/tests/sweep"});
        callsMade_.clear();
        const std::string title = operation_ + " " + toUtf8(keys);
        sweep(Setting::domainsKnown, title);
        sweep(Setting::domainsUnknown, title + " (domains unknown)");
        if (!onlyRaces) sweep(Setting::ownAccounts, title + " (own accounts)");
    }

    const std::string operation_ = toUtf8(GetParam()->name);
    const SweepData data_ = readSweepData(operation_);
    std::set<const PartialAnswer*> used_;

    static void TearDownTestSuite() { opened_.reset(); }

  private:
    // Operations on one lab share what it takes long to open.
    static inline std::unique_ptr<LabService> opened_;
    static inline ExampleLab lab_;
    static LabService& serviceOn(const ExampleLab& lab) {
        if (!opened_ || lab_ != lab) {
            opened_.reset();
            opened_ = std::make_unique<LabService>(lab_ = lab);
        }
        return *opened_;
    }
    void sweep(Setting setting, const std::string& title) {
        service_.restart(setting);
        const Outcome whole = service_.run(GetParam()->name, request_);
        const std::string answer = textOf(whole.answer);
        const auto faults = faultsOf(whole, setting);
        if (setting == Setting::domainsKnown) {
            EXPECT_FALSE(hasError(whole.answer)) << title << ": " << answer;
            EXPECT_EQ(whole.leftOpen, 0) << title;
            for (const PortCalls::Call& call : whole.calls) callsMade_.insert(call.name);
        } else if (faults.empty()) {
            return;
        }
        for (const PortFault& fault : faults) {
            SCOPED_TRACE(title + ", " + titleOf(fault));
            if (setting == Setting::domainsUnknown) service_.restart(setting);
            service_.restore();
            const Outcome failed = service_.run(GetParam()->name, request_, fault);
            EXPECT_TRUE(failed.faultHappened);
            EXPECT_EQ(failed.handled,
                      GetParam()->shape == wsadmin::Shape::resultBag || !hasError(failed.answer));
            EXPECT_EQ(failed.leftOpen, 0);
            judge(failed, whole, setting, fault);
            service_.restore();
            if (whole.asksDomains()) service_.learnDomains();
            // On another thread, because a lock that was left locked lets its own holder in again.
            auto again =
                std::async(std::launch::async, [&] { return service_.run(GetParam()->name, request_); });
            EXPECT_EQ(textOf(again.get().answer), answer) << "afterwards";
        }
    }

    // Of the calls that only this setting makes.
    std::vector<PortFault> faultsOf(const Outcome& whole, Setting setting) {
        std::vector<PortFault> faults;
        if (onlyRaces && !whole.asksDomains()) return faults;
        if (!wstest::underSanitizer) ofKind_.clear();
        auto calls = whole.calls;
        if (whole.asksDomains()) std::ranges::stable_sort(calls, {}, &PortCalls::Call::name);
        for (const PortCalls::Call& call : calls) {
            if (setting == Setting::domainsUnknown && callsMade_.contains(call.name)) continue;
            if (setting == Setting::ownAccounts && !call.name.starts_with("accounts ")) continue;
            // Of threads side by side it is chance whose call is the n-th, and which follow it.
            const bool sideBySide = whole.asksDomains() && call.name.starts_with("ads ");
            if (sideBySide && call.occurrence > 1) continue;
            const std::vector<Code> codes = codesOf(call.name);
            const std::size_t number = ofKind_[kindOf(call.name)]++;
            if (number >= mostOfAKind) continue;
            for (std::size_t i = 0; i < codes.size(); ++i)
                if (number < manyOfAKind || number % codes.size() == i)
                    faults.push_back({call.name, sideBySide ? PortFault::every : call.occurrence,
                                      codes[i].code, codes[i].lasting && !sideBySide});
        }
        return faults;
    }

    void judge(const Outcome& failed, const Outcome& whole, Setting setting, const PortFault& fault) {
        const std::string answer = textOf(failed.answer);
        const bool error = hasError(failed.answer), complete = answer == textOf(whole.answer);
        EXPECT_EQ(std::ranges::count(errorsOf(failed.answer), ""), 0) << answer;
        if (error && isOnlyError(failed.answer)) return;
        if (complete && failed.changed == whole.changed) return;
        const bool part = !error && isPart(failed.answer, whole.answer);
        const char* kind = complete ? "changes missing" : part ? "fewer entries" : "other";
        const auto names = [&](const PartialAnswer& row) {
            const bool hit = fault.call.starts_with(row.fault) ||
                             (setting == Setting::domainsUnknown && row.fault == learningDomains);
            return row.kind == kind && hit && (row.answer.empty() || matches(answer, row.answer));
        };
        const auto row = std::ranges::find_if(data_.partialAnswers, names);
        if (row == data_.partialAnswers.end())
            ADD_FAILURE() << "answers.jsonl does not name this answer, of the kind " << kind << ": "
                          << answer;
        else
            used_.insert(&*row);
    }

    LabService& service_ = serviceOn(labOf(toUtf8(GetParam()->name)));
    PropertyBag request_;
    std::set<std::string> callsMade_;            // where the domains are known
    std::map<std::string, std::size_t> ofKind_;  // calls of each kind seen so far
};

TEST_P(Sweep, AFailingCallIsToldOrMadeUpFor) {
    sweep(GetParam()->example);
    for (const std::string& keys : data_.requests) sweep(CORE::toWide(keys));
    if (wstest::underSanitizer) return;
    // No row outlives what it excuses.
    for (const PartialAnswer& row : data_.partialAnswers)
        EXPECT_TRUE(used_.contains(&row)) << row.fault << ": " << row.why;
}

std::vector<const Operation*> builtOperations() {
    std::vector<const Operation*> built;
    for (const Operation& operation : wsadmin::operationTable())
        if (operation.built()) built.push_back(&operation);
    return built;
}

INSTANTIATE_TEST_SUITE_P(Each, Sweep, testing::ValuesIn(builtOperations()),
                         [](const auto& instance) { return toUtf8(instance.param->name); });

}  // namespace
}  // namespace sweep
