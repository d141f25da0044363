// The requests that a command line asks for, complete before the first one is sent.
#pragma once

#include <string>
#include <vector>

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

// Encrypts the unseen values of keys that travel encrypted, under the key of this process's host.
Outcome<void> encryptUnseen(const CORE::PropertyBag& operations, std::vector<Request>& requests);

// Reads the files, standard input and the terminal that the options name. The sentence says which text is
// wrong.
Outcome<std::vector<Request>> buildRequests(const Options& options);

}  // namespace hdqadmin
