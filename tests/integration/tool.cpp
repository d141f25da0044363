#include "integration/tool.h"

#include <filesystem>
#include <stdexcept>

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

std::vector<std::string> tool(Build build) {
    const std::string program =
        build == Build::native ? WS_BIN_DIR "/hdqadmin" : WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe";
    if (!std::filesystem::exists(program)) throw std::runtime_error(program + " is not built");
    if (build == Build::native) return {program};
    static_cast<void>(environment("WINEPREFIX"));
    return {"wine", program};
}

Answer ask(Build build, const std::vector<std::string>& arguments,
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
    return {outcome.status, nlohmann::ordered_json::parse(outcome.output, nullptr, false), outcome.errors};
}

}  // namespace integration
