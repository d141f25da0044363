#include "channel/ticket.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <system_error>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/log.h"
#include "framework/core/system.h"

namespace channel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view prefix = "mfw1.";
constexpr std::string_view fileHead = "mfwhost ticket 1";
constexpr char fileSuffix[] = ".ticket";
constexpr std::size_t idSize = 16, idDigits = 2 * idSize, keyDigits = 2 * CORE::secretKeySize;
constexpr std::size_t longestLabel = 200, largestFile = 1024;

constexpr std::pair<Rights, std::string_view> rightsNames[] = {
    {Rights::read, "read"}, {Rights::all, "all"}, {Rights::agent, "agent"}};

bool isHex(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

bool isId(std::string_view text) {
    return text.size() == idDigits && isHex(text);
}

void appendHex(CORE::secretstring& text, const unsigned char* bytes, std::size_t count) {
    constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < count; ++i) {
        const char pair[] = {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
        text.append(std::string_view(pair, 2));
    }
}

// The text is of hexadecimal digits, as many as the key has.
void readKey(std::string_view text, TicketKey& key) {
    const auto valueOf = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = static_cast<unsigned char>(valueOf(text[2 * i]) << 4 | valueOf(text[2 * i + 1]));
}

void fillRandom(unsigned char* bytes, std::size_t count) {
    if (RAND_priv_bytes(bytes, static_cast<int>(count)) != 1)
        throw CORE::coreException(L"There are no random bytes to be had for a ticket");
}

std::string_view takeLine(std::string_view& text) {
    const auto end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

std::optional<TicketRecord> parseFile(std::string_view id, std::string_view text) {
    TicketRecord record;
    const bool known = takeLine(text) == fileHead;
    const auto rights = rightsNamed(takeLine(text));
    const std::string_view expires = takeLine(text);
    const auto [end, error] =
        std::from_chars(expires.data(), expires.data() + expires.size(), record.expires);
    record.label = takeLine(text);
    const std::string_view key = takeLine(text);
    if (!known || !rights || error != std::errc{} || end != expires.data() + expires.size() ||
        key.size() != keyDigits || !isHex(key))
        return std::nullopt;
    record.rights = *rights;
    record.ticket.id = id;
    readKey(key, record.ticket.key);
    return record;
}

}  // namespace

std::string_view rightsName(Rights rights) noexcept {
    return std::ranges::find(rightsNames, rights, &std::pair<Rights, std::string_view>::first)->second;
}

std::optional<Rights> rightsNamed(std::string_view name) noexcept {
    for (const auto& [rights, known] : rightsNames)
        if (known == name) return rights;
    return std::nullopt;
}

std::optional<Ticket> parseTicket(std::string_view text) {
    constexpr std::string_view blank = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blank), text.size()));
    text = text.substr(0, text.find_last_not_of(blank) + 1);
    if (text.size() != prefix.size() + idDigits + 1 + keyDigits || !text.starts_with(prefix))
        return std::nullopt;
    text.remove_prefix(prefix.size());
    const std::string_view id = text.substr(0, idDigits), key = text.substr(idDigits + 1);
    if (!isId(id) || text[idDigits] != '.' || !isHex(key)) return std::nullopt;
    Ticket ticket;
    ticket.id = id;
    readKey(key, ticket.key);
    return ticket;
}

CORE::secretstring ticketText(const Ticket& ticket) {
    CORE::secretstring text(prefix);
    text.append(ticket.id).append(".");
    appendHex(text, ticket.key.data(), ticket.key.size());
    return text;
}

TicketStore::TicketStore(fs::path folder, Seconds now) : folder_(std::move(folder)), now_(std::move(now)) {
    CORE::sys::createPrivateFolder(folder_.wstring());
}

std::int64_t TicketStore::systemSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

fs::path TicketStore::fileOf(std::string_view id) const {
    return folder_ / (std::string(id) + fileSuffix);
}

Ticket TicketStore::make(Rights rights, std::int64_t lifetimeSeconds, const std::string& label) {
    const bool oneLine =
        std::ranges::none_of(label, [](char c) { return static_cast<unsigned char>(c) < ' '; });
    if (!oneLine || label.size() > longestLabel || !CORE::isValidUtf8(label))
        throw CORE::coreException(L"A ticket's label is one line of at most 200 bytes");
    Ticket ticket;
    std::array<unsigned char, idSize> id{};
    fillRandom(id.data(), id.size());
    fillRandom(ticket.key.data(), ticket.key.size());
    CORE::secretstring digits;
    appendHex(digits, id.data(), id.size());
    ticket.id = digits.view();

    CORE::secretstring file(fileHead);
    file.append("\n").append(rightsName(rights)).append("\n");
    file.append(std::to_string(now_() + lifetimeSeconds)).append("\n").append(label).append("\n");
    appendHex(file, ticket.key.data(), ticket.key.size());
    const bool made = CORE::sys::createPrivateFile(
        fileOf(ticket.id).wstring(), {reinterpret_cast<const unsigned char*>(file.c_str()), file.size()});
    if (!made) throw CORE::coreException(L"There is a ticket of that identity already");
    return ticket;
}

std::optional<TicketRecord> TicketStore::read(std::string_view id) const {
    std::array<unsigned char, largestFile> buffer{};
    const auto size = CORE::sys::readPrivateFile(fileOf(id).wstring(), buffer);
    std::optional<TicketRecord> record;
    if (size) record = parseFile(id, {reinterpret_cast<const char*>(buffer.data()), *size});
    CORE::wipeMemory(buffer.data(), buffer.size());
    if (size && !record) throw CORE::coreException(fileOf(id).wstring() + L" does not hold a ticket");
    return record;
}

std::vector<TicketRecord> TicketStore::list() const {
    std::vector<TicketRecord> records;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        const std::string id = entry.path().stem().string();
        if (entry.path().extension() != fileSuffix || !isId(id)) continue;
        if (auto record = read(id)) records.push_back(std::move(*record));
    }
    std::ranges::sort(records, {}, &TicketRecord::expires);
    return records;
}

bool TicketStore::revoke(std::string_view id) {
    std::error_code error;
    const bool removed = isId(id) && fs::remove(fileOf(id), error);
    if (error) throw CORE::coreException(L"The ticket cannot be revoked: " + CORE::toWide(error.message()));
    return removed;
}

std::optional<TicketRecord> TicketStore::find(std::string_view id) const {
    if (!isId(id)) return std::nullopt;
    try {
        auto record = read(id);
        if (record && record->expires <= now_()) return std::nullopt;
        return record;
    } catch (const CORE::coreException& error) {
        CORE::__SysMessage(CORE::logError, L"mfwhost", L"A ticket is not used: %s", error.text());
        return std::nullopt;
    }
}

}  // namespace channel
