// Tickets: who may open a channel to this host, and what may be done over it. A ticket is a line of text,
// "mfw1." and hexadecimal digits of its identity and of the key that both ends of the channel share.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "framework/core/key_file.h"

namespace channel {

enum class Rights {
    read,   // operations that change nothing
    all,    // every operation
    agent,  // workers that take messages of remote machines
};
std::string_view rightsName(Rights rights) noexcept;
std::optional<Rights> rightsNamed(std::string_view name) noexcept;

struct TicketKey : CORE::SecretKey {
    TicketKey() : CORE::SecretKey{} {}
    TicketKey(const TicketKey&) = default;
    TicketKey& operator=(const TicketKey&) = default;
    ~TicketKey() { CORE::wipeMemory(data(), size()); }
};

// What the holder has.
struct Ticket {
    std::string id;  // 32 hexadecimal digits
    TicketKey key;
};
// Nothing for a text that is no ticket; white space around it is passed over.
std::optional<Ticket> parseTicket(std::string_view text);
CORE::secretstring ticketText(const Ticket& ticket);

// What the host keeps.
struct TicketRecord {
    Ticket ticket;
    Rights rights = Rights::read;
    std::int64_t expires = 0;  // seconds since 1970
    std::string label;         // for people: one line
};

// The tickets of a host, each a file of a folder that is its owner's alone. Processes share it: a host sees
// at once what another process makes or revokes. Thread safe. Failures throw coreException.
class TicketStore {
  public:
    using Seconds = std::function<std::int64_t()>;  // the date, since 1970
    explicit TicketStore(std::filesystem::path folder, Seconds now = systemSeconds);

    Ticket make(Rights rights, std::int64_t lifetimeSeconds, const std::string& label);
    std::vector<TicketRecord> list() const;  // also those that have expired
    bool revoke(std::string_view id);        // false when there is no such ticket
    // Nothing: unknown, revoked or expired. Files that cannot be read are logged and count as unknown.
    std::optional<TicketRecord> find(std::string_view id) const;

    static std::int64_t systemSeconds();

  private:
    std::filesystem::path fileOf(std::string_view id) const;
    std::optional<TicketRecord> read(std::string_view id) const;

    const std::filesystem::path folder_;
    const Seconds now_;
};

}  // namespace channel
