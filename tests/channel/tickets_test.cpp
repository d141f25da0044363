#include "channel/ticket.h"

#include <gtest/gtest.h>

#include "framework/core/coreexception.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace channel {
namespace {

TEST(Tickets, AreTextsOfOneFormThatExpireAndAreRevoked) {
    const wstest::TempFolder folder;
    std::int64_t now = 100;
    TicketStore store(folder.path() / "t", [&] { return now; });
    const Ticket one = store.make(Rights::agent, 10, "one"), two = store.make(Rights::read, 20, "two");
    EXPECT_THROW(store.make(Rights::read, 1, "two\nlines"), CORE::coreException);
    const auto all = store.list();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].label + all[1].label, "onetwo");
    EXPECT_EQ(store.find(one.id)->rights, Rights::agent);
    now = 110;
    EXPECT_FALSE(store.find(one.id));
    EXPECT_TRUE(store.find(two.id));
    EXPECT_TRUE(store.revoke(two.id));
    EXPECT_FALSE(store.find(two.id));
    for (const std::string& id :
         {two.id, std::string(), std::string("../../etc/passwd"), std::string("0123")}) {
        EXPECT_FALSE(store.find(id));
        EXPECT_FALSE(store.revoke(id));
    }
    const std::string text(ticketText(one).view());
    const Ticket again = parseTicket(" " + text + "\r\n").value();
    EXPECT_EQ(std::pair(again.id, again.key), std::pair(one.id, one.key));
    for (std::size_t at = 0; at < text.size(); ++at) {
        EXPECT_FALSE(parseTicket(text.substr(0, at))) << at;
        std::string other = text;
        other[at] = 'G';
        EXPECT_FALSE(parseTicket(other)) << other;
    }
}

TEST(Tickets, AreNotUsedWhereTheirFilesHoldNone) {
    const wstest::TempFolder folder;
    TicketStore store(folder.path() / "t", [] { return 0; });
    const std::string id = store.make(Rights::read, 10, "").id;
    const auto file = std::filesystem::directory_iterator(folder.path() / "t")->path();
    std::ofstream(file, std::ios::trunc) << "nonsense";
    const wstest::LogCapture log;
    EXPECT_FALSE(store.find(id));
    EXPECT_TRUE(log.contains(CORE::logError,
                             L"A ticket is not used: " + file.wstring() + L" does not hold a ticket"));
    std::filesystem::remove(file);
    std::filesystem::create_directories(file / "below");
    try {
        store.revoke(id);
        ADD_FAILURE() << "a folder that holds something is no ticket";
    } catch (const CORE::coreException& error) {
        EXPECT_TRUE(error.text().starts_with(L"The ticket cannot be revoked: ")) << error.what();
    }
}

}  // namespace
}  // namespace channel
