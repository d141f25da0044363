#include "integration/tool.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/temp_folder.h"

namespace integration {

std::string Answer::errorText() const {
    const auto error = json.find("error");
    if (!json.is_object() || error == json.end() || error->is_null()) return {};
    return error->at("text").get<std::string>();
}

std::string Answer::value(const std::string& key) const {
    if (!json.is_object()) return {};
    for (const auto& pair : json.at("result"))
        if (pair.at(0) == key) return pair.at(1).get<std::string>();
    return {};
}

namespace {

// The command that starts the tool; throws when it is not built.
std::vector<std::string> tool(Build build) {
    const std::string program =
        build == Build::native ? WS_BIN_DIR "/hdqadmin" : WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe";
    if (!std::filesystem::exists(program)) throw std::runtime_error(program + " is not built");
    if (build == Build::native) return {program};
    static_cast<void>(environment("WINEPREFIX"));
    return {"wine", program};
}

Outcome start(Build build, const std::vector<std::string>& arguments,
              const std::vector<std::string>& surroundings) {
    std::vector<std::string> command = surroundings;
    for (const std::string& word : tool(build)) command.push_back(word);
    command.emplace_back("--json");
    command.insert(command.end(), arguments.begin(), arguments.end());
    Outcome outcome = run(command);
    // One start in some hundreds Wine ends with 1 before the program begins, without a word on either stream.
    // The tool never does that: with an error it answers JSON and says the sentence.
    const bool neverBegan = outcome.status == 1 && outcome.output.empty() && outcome.errors.empty();
    if (build == Build::windows && neverBegan) outcome = run(command);
    return outcome;
}

Json parse(const std::string& text) {
    return Json::parse(text, nullptr, false);
}

}  // namespace

Answer ask(Build build, const std::vector<std::string>& arguments,
           const std::vector<std::string>& surroundings) {
    const Outcome outcome = start(build, arguments, surroundings);
    return {outcome.status, parse(outcome.output), outcome.errors};
}

std::vector<Answer> askAll(Build build, const std::vector<std::string>& options,
                           const std::vector<Request>& requests) {
    std::string batch;
    for (const Request& request : requests)
        batch += Json{{"operation", request.operation}, {"request", request.bag}}.dump() + "\n";
    const wstest::TempFolder folder;
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {"--unchecked", "--batch", folder.write("batch.json", batch)});
    const Outcome outcome = start(build, arguments, {});
    std::vector<Answer> answers;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) answers.push_back({-1, parse(line), outcome.errors});
    if (answers.size() != requests.size())
        throw std::runtime_error("the batch was not answered whole: " + outcome.errors);
    return answers;
}

}  // namespace integration
