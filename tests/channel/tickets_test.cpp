#include "channel/ticket.h"

#include <gtest/gtest.h>

#include "framework/core/coreexception.h"
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

}  // namespace
}  // namespace channel
