// The requests that a command line asks for, complete before the first one is sent.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "framework/core/property_bag.h"
#include "host/options.h"
#include "host/outcome.h"

namespace hdqadmin {

struct Request {
    std::string operation;  // UTF-8
    CORE::PropertyBag bag;
    std::string origin;                 // of a request of a batch: "--batch FILE, line N: "
    std::vector<std::string> unseen{};  // keys whose values stood in a file or were typed without an echo
};

// A value as it is typed: @FILE names the file that it stands in, @- the terminal, which is asked for `name`.
Outcome<CORE::secretstring> readValue(const std::string& name, const std::string& typed);
// A file's text, which may be a secret. The sentence says why it cannot be read.
Outcome<CORE::secretstring> readTextFile(const std::string& name);

// Encrypts the unseen values of keys that travel encrypted.
using Encrypt = std::function<Outcome<std::string>(std::string_view plain)>;
Outcome<void> encryptUnseen(const CORE::PropertyBag& operations, std::vector<Request>& requests,
                            const Encrypt& encrypt);

// Reads the files, standard input and the terminal that the options name. The sentence says which text is
// wrong.
Outcome<std::vector<Request>> buildRequests(const Options& options);

}  // namespace hdqadmin
