#include "host/service/ticket_commands.h"

#include <chrono>
#include <iostream>

#include "framework/core/coreexception.h"
#include "framework/core/system.h"
#include "host/service/complain.h"
#include "host/terminal_text.h"

namespace mfwhost {

namespace {

constexpr std::int64_t secondsOfDay = 86'400;

}  // namespace

int makeTicket(channel::TicketStore& store, const TicketOptions& options) {
    const auto rights = channel::rightsNamed(options.rights);
    if (!rights) return complain(hdqadmin::exitUsage, "a ticket's rights are read, all or agent");
    const channel::Ticket ticket = store.make(*rights, options.days * secondsOfDay, options.label);
    const CORE::secretstring text = channel::ticketText(ticket);
    const auto view = text.view();
    bool written = false;
    try {
        written = CORE::sys::createPrivateFile(
            CORE::toWide(options.file), {reinterpret_cast<const unsigned char*>(view.data()), view.size()});
    } catch (...) {
        store.revoke(ticket.id);  // nobody has it
        throw;
    }
    if (!written) store.revoke(ticket.id);
    if (!written) return complain(hdqadmin::exitUsage, "\"" + options.file + "\" exists already");
    std::cout << ticket.id << '\n';
    return hdqadmin::exitAnswered;
}

int listTickets(const channel::TicketStore& store, std::ostream& out) {
    const std::int64_t now = channel::TicketStore::systemSeconds();
    for (const channel::TicketRecord& record : store.list()) {
        const std::int64_t left = record.expires - now;
        out << record.ticket.id << "  " << channel::rightsName(record.rights) << "  "
            << (left > 0 ? std::to_string(left / secondsOfDay) + " days left" : std::string("expired"))
            << "  " << hdqadmin::terminalText(record.label) << '\n';
    }
    return hdqadmin::exitAnswered;
}

int revokeTicket(channel::TicketStore& store, const std::string& id) {
    return store.revoke(id) ? hdqadmin::exitAnswered
                            : complain(hdqadmin::exitUsage, "there is no ticket " + id);
}

}  // namespace mfwhost
