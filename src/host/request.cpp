#include "host/request.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "framework/core/console.h"
#include "framework/core/coreexception.h"
#include "host/bag_json.h"
#include "host/described.h"

namespace hdqadmin {

using nlohmann::json;

namespace {

std::filesystem::path pathOf(const std::string& utf8) {
    return std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size());
}

// What is read for a request may hold passwords. `expected` bytes are taken without moving the text about.
// Where reading fails, the stream is bad afterwards.
CORE::secretstring readAll(std::istream& in, std::size_t expected) {
    std::string text;
    text.reserve(expected);
    char part[65536];
    while (in.read(part, sizeof part) || in.gcount() > 0)
        text.append(part, static_cast<std::size_t>(in.gcount()));
    CORE::wipeMemory(part, sizeof part);
    CORE::secretstring kept(text);
    CORE::wipeMemory(text.data(), text.size());
    return kept;
}

}  // namespace

Outcome<CORE::secretstring> readTextFile(const std::string& name) {
    std::error_code none;
    const auto path = pathOf(name);
    if (std::filesystem::is_directory(path, none)) return refuse("\"" + name + "\" is a folder");
    std::ifstream in(path, std::ios::binary);
    if (!in) return refuse("cannot read \"" + name + "\": " + std::strerror(errno));
    const auto size = std::filesystem::file_size(path, none);
    CORE::secretstring text = readAll(in, none ? 0 : static_cast<std::size_t>(size) + 1);
    if (in.bad()) return refuse("cannot read \"" + name + "\"");
    if (!CORE::isValidUtf8(text.view())) return refuse("\"" + name + "\" is not valid UTF-8");
    return text;
}

namespace {

Outcome<CORE::secretstring> readFileOrInput(const std::string& name) {
    if (name != "-") return readTextFile(name);
    CORE::secretstring text = readAll(std::cin, 0);
    if (!CORE::isValidUtf8(text.view())) return refuse("standard input is not valid UTF-8");
    return text;
}

std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

Outcome<void> addPair(Request& request, const std::string& pair) {
    const auto equals = pair.find('=');
    if (equals == std::string::npos || equals == 0)
        return refuse("\"" + pair + "\" is not of the form NAME=VALUE");
    const std::string name = pair.substr(0, equals);
    const std::string typed = pair.substr(equals + 1);
    const auto value = readValue(name, typed);
    if (!value) return refuse(value.error());
    if (typed.starts_with('@')) request.unseen.push_back(name);
    request.bag.addUtf8(name, value->view());
    return {};
}

Outcome<CORE::PropertyBag> bagFromText(std::string_view text) {
    auto value = parseJson(text);
    if (!value) return refuse(value.error());
    return bagFromJson(*value);
}

Outcome<std::vector<Request>> singleRequest(const Options& options) {
    Request request{options.operation.value_or(std::string()), {}, {}};
    if (options.requestFile) {
        const auto text = readFileOrInput(*options.requestFile);
        if (!text) return refuse(text.error());
        auto bag = bagFromText(text->view());
        if (!bag) return refuse("--request " + *options.requestFile + ": " + bag.error());
        request.bag = std::move(*bag);
    }
    for (const std::string& pair : options.pairs) {
        if (auto added = addPair(request, pair); !added) return refuse(added.error());
    }
    std::vector<Request> one;
    one.push_back(std::move(request));
    return one;
}

Outcome<Request> requestFromLine(std::string_view line) {
    auto value = parseJson(line);
    if (!value) return refuse(value.error());
    if (!value->is_object() || !value->contains("operation") || !(*value)["operation"].is_string())
        return refuse("a request must be an object with a string \"operation\"");
    for (const auto& [key, unused] : value->items()) {
        if (key != "operation" && key != "request") return refuse("a request has no \"" + key + "\"");
    }
    Request request{(*value)["operation"].get<std::string>(), {}, {}};
    // The framework's names end at a NUL: one inside would name another operation.
    if (request.operation.find('\0') != std::string::npos) return refuse("the operation's name holds a NUL");
    if (!value->contains("request")) return request;
    auto bag = bagFromJson((*value)["request"]);
    if (!bag) return refuse(bag.error());
    request.bag = std::move(*bag);
    return request;
}

Outcome<std::vector<Request>> batchRequests(const std::string& file) {
    const auto text = readFileOrInput(file);
    if (!text) return refuse(text.error());
    std::vector<Request> requests;
    std::string_view rest = text->view();
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const auto end = rest.find('\n');
        const std::string_view line = withoutLineEnd(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
        const std::string origin = "--batch " + file + ", line " + std::to_string(number) + ": ";
        auto request = requestFromLine(line);
        if (!request) return refuse(origin + request.error());
        request->origin = origin;
        requests.push_back(std::move(*request));
    }
    return requests;
}

}  // namespace

Outcome<CORE::secretstring> readValue(const std::string& name, const std::string& typed) {
    if (typed == "@-") {
        auto line = CORE::readUnseenLine(name + ": ");
        if (!line) return refuse("there is no terminal to read \"" + name + "\" from");
        if (!CORE::isValidUtf8(line->view()))
            return refuse("the value of \"" + name + "\" is not valid UTF-8");
        return std::move(*line);
    }
    if (!typed.starts_with('@')) return CORE::secretstring(typed);
    const auto text = readTextFile(typed.substr(1));
    if (!text) return refuse(text.error());
    return CORE::secretstring(withoutLineEnd(CORE::withoutByteOrderMark(text->view())));
}

Outcome<void> encryptUnseen(const CORE::PropertyBag& operations, std::vector<Request>& requests,
                            const Encrypt& encrypt) {
    for (Request& request : requests) {
        const auto* operation = operationNamed(operations, request.operation);
        if (!operation) continue;
        for (const CORE::PropertyBag* key : bagsOf(*operation, L"request-key")) {
            const std::string name(key->utf8(L"name"));
            if (key->utf8(L"type") != "encrypted secret" ||
                std::ranges::none_of(request.unseen, [&](const std::string& unseen) {
                    return CORE::equalFolded(unseen, name);
                }))
                continue;
            const CORE::wstr wide = key->get(L"name");
            const auto encrypted = encrypt(request.bag.utf8(wide));
            if (!encrypted) return refuse("\"" + name + "\" cannot be encrypted: " + encrypted.error());
            request.bag.set(wide, std::string_view(*encrypted));
        }
    }
    return {};
}

Outcome<std::vector<Request>> buildRequests(const Options& options) {
    try {
        return options.batchFile ? batchRequests(*options.batchFile) : singleRequest(options);
    } catch (const CORE::coreException& error) {
        return refuse(error.what());  // more than a bag takes, a name of 65,536 bytes say
    }
}

}  // namespace hdqadmin
