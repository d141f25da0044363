#include "framework/core/remote_copy.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <fstream>
#include <future>
#include <system_error>

#include "framework/core/coreexception.h"
#include "framework/core/file_service.h"
#include "framework/core/permitted_path.h"
#include "framework/core/plain_files.h"
#include "framework/core/system.h"

namespace CORE {

namespace fs = std::filesystem;

namespace {

// A file that is gone with the object.
struct PassingFile {
    fs::path path;
    ~PassingFile() {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
};

std::optional<std::wstring> putInPlace(const fs::path& whole, const fs::path& file, bool overwrite) {
    if (!overwrite) return renameToNew(whole, file) ? std::nullopt : std::optional(L"the file exists");
    const FileKind kind = kindOf(file);
    if (kind != FileKind::missing && kind != FileKind::file) return L"it is no file";
    std::error_code error;
    fs::rename(whole, file, error);
    return error ? std::optional(toWide(error.message())) : std::nullopt;
}

}  // namespace

std::optional<std::uint64_t> numberOf(const PropertyBag& message, std::wstring_view key) {
    const std::string_view text = message.utf8(key);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

RemoteCopy::Part RemoteCopy::fetch(std::uint64_t offset) const {
    PropertyBag request, response;
    request.set(files::fileName, remoteFile);
    request.set(files::offset, std::string_view(std::to_string(offset)));
    MsgBinary attachment;
    const RespType type =
        channel.send(files::worker, files::readFile, request, response, {.responseBinary = &attachment});
    Part part;
    if (type != RespType::handled || response.getError() != 0) {
        part.failure = response.getErrorText().str() + L" (" + respTypeName(type) + L")";
        return part;
    }
    const auto size = numberOf(response, files::size);
    part.size = size.value_or(0);
    part.identity = response.get(files::identity);
    part.bytes = std::move(attachment.bytes());
    if (!size || part.bytes.size() > *size) part.failure = L"the answer does not tell the file's size";
    return part;
}

// Parts are asked for ahead, so that both ends and the disk work side by side. All have the first one's size.
std::optional<std::wstring> RemoteCopy::receive(const fs::path& file) const {
    constexpr std::size_t partsAhead = 4;
    if (!sys::createPrivateFile(file.wstring(), {})) return L"the file exists";
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    Part part = fetch(0);
    const std::uint64_t whole = part.size;  // what a log gains meanwhile is left out
    const wstr identity = part.identity;
    const std::uint64_t step = std::max<std::uint64_t>(part.bytes.size(), 1);
    if (whole > largest) return L"the file is too large";
    std::deque<std::future<Part>> ahead;
    std::uint64_t asked = step;
    for (std::uint64_t have = 0; !part.failure && have < whole;) {
        for (; asked < whole && ahead.size() < partsAhead; asked += step)
            ahead.push_back(std::async(std::launch::async, [this, asked] { return fetch(asked); }));
        const std::uint64_t count = std::min(step, whole - have);
        if (part.bytes.size() < count || part.identity != identity)
            return L"the remote file became shorter or is another one";
        out.write(reinterpret_cast<const char*>(part.bytes.data()), static_cast<std::streamsize>(count));
        if (!out) return L"the file cannot be written";
        have += count;
        if (have == whole) break;
        part = ahead.front().get();
        ahead.pop_front();
    }
    out.close();
    if (!out && !part.failure) return L"the file cannot be written";
    return part.failure;
}

std::optional<std::wstring> RemoteCopy::to(const fs::path& file, bool overwrite) const {
    if (!overwrite && kindOf(file) != FileKind::missing) return L"the file exists";
    PassingFile whole{file};
    whole.path += pathOfUtf8("." + toUtf8(wstr::newGuid()) + ".part");
    try {
        if (auto failure = receive(whole.path)) return failure;
        return putInPlace(whole.path, file, overwrite);
    } catch (const coreException& error) {
        return error.text();
    }
}

}  // namespace CORE
