// "mfwhost ticket make", "list" and "revoke".
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "channel/ticket.h"

namespace mfwhost {

struct TicketOptions {
    std::string rights = "read", label, file, id;
    std::int64_t days = 30;
};

// They return the exit status, and print what went wrong to standard error.
int makeTicket(channel::TicketStore& store,
               const TicketOptions& options);  // into a new file, its owner's alone
int listTickets(const channel::TicketStore& store, std::ostream& out);
int revokeTicket(channel::TicketStore& store, const std::string& id);

}  // namespace mfwhost
