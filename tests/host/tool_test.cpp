// The tool itself, run as an administrator runs it: what it prints where, and how it exits.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "support/rows.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

#if defined(_WIN32)
constexpr char toolName[] = "hdqadmin.exe";
constexpr bool posix = false;
#else
constexpr char toolName[] = "hdqadmin";
constexpr bool posix = true;
#endif

class Tool : public testing::Test {
  protected:
    struct Run {
        int status = -1;
        std::string out;
        std::string err;
    };

    static std::string quoted(const std::string& word) { return "\"" + word + "\""; }

    // The arguments as a shell takes them.
    Run run(const std::string& arguments) const {
        const std::string tool = (fs::absolute(WS_BIN_DIR) / toolName).make_preferred().string();
        std::string line = quoted(tool) + " > " + quoted(folder.utf8("out")) + " 2> " +
                           quoted(folder.utf8("err")) + " " + arguments;
        if (!posix) line = quoted(line);  // the other shell takes one pair of quotes away
        int status = std::system(line.c_str());
        if (posix) status = (status & 0x7f) == 0 ? (status >> 8) & 0xff : -1;
        return {status, folder.read("out"), folder.read("err")};
    }

    // The sample lab, to be changed.
    fs::path copiedLab() const {
        const fs::path lab = folder.path() / "lab";
        fs::copy(fs::absolute(fs::path(WS_SOURCE_DIR) / "labs" / "sample"), lab, fs::copy_options::recursive);
        return lab;
    }

    wstest::TempFolder folder;
};

TEST_F(Tool, ExitStatusAndStreams) {
    folder.write("great", "[[\"a\", 1e999]]");
    folder.write("long", "[[\"" + std::string(70000, 'n') + "\", \"\"]]");
    const auto fails = [this](const wstest::Json& in) {
        std::string arguments = in[0];
        constexpr std::string_view ownFolder = "FOLDER/";
        if (const auto at = arguments.find(ownFolder); at != std::string::npos)
            arguments.replace(at, ownFolder.size(), folder.utf8(""));
        const Run result = run(arguments);
        EXPECT_EQ(result.status, in[1]) << arguments << result.err;
        EXPECT_TRUE(result.status < 2 || result.out.empty()) << arguments << result.out;
        return result.err;
    };
    const auto prints = [this](const wstest::Json& in) {
        const Run result = run(in);
        EXPECT_EQ(result.status, 0) << in << result.err;
        return result.out;
    };
    wstest::tryRows(WS_SOURCE_DIR "/tests/host/tool.jsonl", {{"fails", fails}, {"prints", prints}});
}

TEST_F(Tool, JsonIsAloneOnStandardOutput) {
    const Run good = run("getAppdataLocation --json --log debug");
    const json answer = json::parse(good.out);
    EXPECT_EQ(answer["handled"], true);
    EXPECT_TRUE(answer["error"].is_null());
    EXPECT_EQ(answer["result"][0][0], "appdataLocation");
    EXPECT_NE(good.err.find("DEBUG ws_admin: ws_admin_operation: getAppdataLocation\n"), std::string::npos)
        << good.err;

    const Run bad = run("noSuchOperation --unchecked --json");
    EXPECT_EQ(bad.out, "{\"handled\": false, \"error\": {\"code\": 120, \"text\": \"\"}, \"result\": []}\n");
    EXPECT_EQ(bad.status, 1);

    folder.write("name", "VCS\x1b[2J");
    EXPECT_TRUE(run("deleteConnectionServerEntry servername=@" + quoted(folder.utf8("name")))
                    .err.ends_with("\nServer \"VCS\\x1b[2J\" is not present in this configuration.\n"));

    const Run people = run("getAppdataLocation");
    EXPECT_EQ(people.out, "appdataLocation: " + answer["result"][0][1].get<std::string>() + "\n");
}

TEST_F(Tool, ListsTheOperationsWithTheirKeys) {
    const Run result = run("--list --json");
    ASSERT_EQ(result.status, 0) << result.err;
    const json list = json::parse(result.out);
    ASSERT_EQ(list.size(), 63u);
    EXPECT_EQ(list.front()["name"], "Diag");
    EXPECT_EQ(list.back()["name"], "qrvLdapRemovePodEndpoint");
    EXPECT_EQ(list[17]["request"][0]["name"], "forestCheckInterval");
    EXPECT_EQ(list[17]["request"][0]["default"], "15");
    EXPECT_EQ(list[17]["changes"], true);
    EXPECT_EQ(list[48]["result"].size(), 1u);
    EXPECT_EQ(json::parse(run("setserviceconfiguration --help --json").out), list[17]);
}

TEST_F(Tool, ABatchIsAnsweredInOrderOrNotAtAll) {
    const std::string lines =
        "{\"operation\": \"setServiceConfiguration\", \"request\": [[\"forestCheckInterval\", \"14\"]]}\n"
        "{\"operation\": \"getAppdataLocation\"}\n";
    const Run good = run("--json --batch " + quoted(folder.write("batch", lines)));
    EXPECT_EQ(good.status, 1);
    std::istringstream answers(good.out);
    std::string first, second, none;
    ASSERT_TRUE(std::getline(answers, first) && std::getline(answers, second)) << good.out;
    EXPECT_FALSE(std::getline(answers, none));
    EXPECT_EQ(json::parse(first)["error"]["code"], 1);
    EXPECT_EQ(json::parse(second)["result"][0][0], "appdataLocation");

    const Run bad =
        run("--json --batch " + quoted(folder.write("batch", lines + "{\"operation\": \"\xff\"}\n")));
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.out, "");

    const Run mistyped =
        run("--json --batch " + quoted(folder.write("batch", lines + R"({"operation": "Diags"})")));
    EXPECT_EQ(mistyped.status, 2);
    EXPECT_EQ(mistyped.out, "");
    EXPECT_NE(mistyped.err.find("batch, line 3: there is no operation \"Diags\" (did you mean \"Diag\"?)"),
              std::string::npos)
        << mistyped.err;

    const Run input = run("setServiceConfiguration --request - < " +
                          quoted(folder.write("request", R"([["forestCheckInterval", "1"]])")));
    EXPECT_EQ(input.status, 1) << input.err;
}

TEST_F(Tool, ChangesAreWrittenBackOnlyWhenAsked) {
    const fs::path lab = copiedLab();
    const auto namedInLab = [&] {
        for (const auto& file : fs::recursive_directory_iterator(lab)) {
            std::ostringstream text;
            if (file.is_regular_file()) text << std::ifstream(file.path(), std::ios::binary).rdbuf();
            if (text.str().find("A New Name") != std::string::npos) return true;
        }
        return false;
    };
    const std::string change =
        "setClusterName \"clustername=A New Name\" --lab " + quoted(folder.utf8("lab"));
    const Run unsaved = run(change);
    EXPECT_EQ(unsaved.status, 0) << unsaved.err;
    EXPECT_EQ(
        unsaved.err,
        "WARNING ws_admin saving: What changed in pod/settings.ldif is not kept: nothing was to be saved\n");
    EXPECT_FALSE(namedInLab());
    const Run saved = run(change + " --save");
    EXPECT_EQ(saved.status, 0) << saved.err;
    EXPECT_EQ(saved.err, "");
    EXPECT_TRUE(namedInLab());
    fs::permissions(lab / "pod" / "settings.ldif", fs::perms::owner_read | fs::perms::group_read);
    const Run refused = run("setClusterName clustername=Other --save --lab " + quoted(folder.utf8("lab")));
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("ERROR ws_admin saving: Failed to save changes - "), std::string::npos)
        << refused.err;
    EXPECT_EQ(run("setClusterName clustername=x --save").status, 2);
}

// A pod whose directory refuses everybody, and a domain that cannot be asked for its trusts.
TEST_F(Tool, WhatIsMissingInAnAnswerIsExplained) {
    folder.write("machine.toml",
                 "[machine]\ndns-name = \"lab.corp.example\"\n[[directory]]\nsuffixes = "
                 "[\"dc=vdi,dc=talvex,dc=int\"]\n"
                 "[directory.faults]\nrefuse-binds = true\n");
    const std::string lab = " --lab " + quoted(folder.utf8("."));
    const Run empty = run("checkLdapConnectivity --json" + lab);
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(json::parse(empty.out)["result"], json::array());
    EXPECT_NE(empty.err.find("ERROR ws_admin: Failed to bind to LDAP - Invalid Credentials (49)\n"),
              std::string::npos)
        << empty.err;

    const Run nested = run("Diag --json" + lab);
    EXPECT_EQ(nested.status, 0);
    const json answer = json::parse(nested.out);
    EXPECT_TRUE(answer["error"].is_null());
    ASSERT_EQ(answer["nested"].size(), 1u) << nested.out;
    EXPECT_EQ(answer["nested"][0]["path"], "DOMAINHEALTH");
    const std::string text = answer["nested"][0]["text"];
    EXPECT_NE(nested.err.find("DOMAINHEALTH: " + text + " (error 1)\n"), std::string::npos) << nested.err;
    EXPECT_NE(run("Diag" + lab).out.find("DOMAINHEALTH: error 1: " + text + "\n"), std::string::npos);
}

// The authentication worker, which Diag asks, reads the file too.
TEST_F(Tool, WarningsOfTheConfigurationAreToldOnce) {
    const std::string file = folder.write(
        "pod.toml",
        "default-domain = \"127.0.0.1\"\n[startup]\nEnableLdapDomainConfig = false\n[[server]]\nfor = "
        "\"127.0.0.1\"\nport = 1\nconnect-timeout = 100\ntls = true\nverify-certificate = false\n");
    const std::string err = run("Diag --config " + quoted(file)).err;
    const auto first = err.find(" is not checked");
    EXPECT_NE(first, std::string::npos);
    EXPECT_NE(err.find("Failed to read the trusts"), std::string::npos);
    EXPECT_EQ(err.find(" is not checked", first + 1), std::string::npos) << err;
}

#if !defined(_WIN32)
TEST_F(Tool, IsWholeWhereverItIsCopied) {
    for (const char* name : {"hdqadmin", "libmfwcore.so", "ws_admin.so"})
        fs::copy(fs::path(WS_BIN_DIR) / name, folder.path() / name);
    const std::string copy = quoted(folder.utf8("hdqadmin"));
    const auto shell = [&](const std::string& line) {
        return WEXITSTATUS(std::system(
            (line + " > " + quoted(folder.utf8("out")) + " 2> " + quoted(folder.utf8("err"))).c_str()));
    };
    EXPECT_EQ(shell("LD_TRACE_LOADED_OBJECTS=1 " + copy), 0);
    EXPECT_NE(folder.read("out").find(folder.utf8("libmfwcore.so")), std::string::npos) << folder.read("out");

    // Without the authentication worker there are no domains, and why is told.
    EXPECT_EQ(shell(copy + " --json Diag"), 0);
    EXPECT_EQ(json::parse(folder.read("out"))["nested"][0]["text"],
              "Failed to issue request to winauth service");
    EXPECT_NE(folder.read("err").find("cannot load " + folder.utf8("winauth.so")), std::string::npos)
        << folder.read("err");
}

TEST_F(Tool, NamesItsTargetOnATerminal) {
    const std::string tool = std::string(WS_BIN_DIR) + "/hdqadmin getAppdataLocation";
    const std::string typescript = folder.utf8("typescript");
    const auto shown = [&](const std::string& options) {
        EXPECT_EQ(
            std::system(("script -qec '" + tool + options + "' " + typescript + " > /dev/null").c_str()), 0);
        return folder.read("typescript");
    };
    EXPECT_NE(shown("").find("hdqadmin: works on the lab "), std::string::npos);
    EXPECT_NE(shown("").find("labs/sample; changes are not kept without --save"), std::string::npos);
    const std::string file = folder.write("pod.toml", "");
    EXPECT_NE(shown(" --config " + file).find("hdqadmin: works on the directories of " + file),
              std::string::npos);
}

TEST_F(Tool, WorksOnOneMachineOfALab) {
    for (const std::string name : {"VCS1", "VCS2"})
        folder.write(name + ".toml", "[machine]\nnetbios-name = \"" + name + "\"\n");
    const std::string asked = "getNetBiosName --lab " + quoted(folder.utf8("."));
    EXPECT_NE(run(asked + " --machine vcs2").out.find("VCS2"), std::string::npos);
    const Run unnamed = run(asked);
    EXPECT_EQ(unnamed.status, 3);
    EXPECT_NE(unnamed.err.find("which machine is meant has to be said"), std::string::npos) << unnamed.err;
}

// While the installation waits for its endpoint, which never comes, because its entry is not imported.
TEST_F(Tool, AnInterruptStopsTheServiceAndTellsTheFlags) {
    const std::string lab = copiedLab().string(), err = folder.utf8("err");
    std::ofstream(lab + "/machine.toml", std::ios::app)
        << "\n[[program]]\nname = '*\\ldifde.exe'\narguments = '*qrv3.tmp*'\n";
    const std::string script = std::string(WS_BIN_DIR) + "/hdqadmin --save --lab " + quoted(lab) +
                               " qrvLdapInit > /dev/null 2> " + quoted(err) + " & until grep -qs qrv4.tmp " +
                               quoted(err) +
                               "; do kill -0 $! || exit 9; sleep 0.02; done; kill -INT $!; wait $!";
    EXPECT_EQ(WEXITSTATUS(std::system(script.c_str())), 1);
    const std::string told = folder.read("err");
    for (const char* line : {"hdqadmin:   0 % QRV Init operation\n", "hdqadmin:  80 % Loading starter data\n",
                             "hdqadmin: stopping; a program that was started runs to its end",
                             "WARNING ws_admin: Interrupted for service shutdown\n",
                             "hdqadmin: the state flags: the server's is 0, the pod's is 0"})
        EXPECT_NE(told.find(line), std::string::npos) << line << told;
    // The layer was cleaned up, and what is saved says so.
    EXPECT_EQ(run("qrvLdapInfo --lab " + quoted(lab)).status, 1);
    EXPECT_NE(folder.read("err").find("Global LDAP layer does not exist"), std::string::npos);
}

// "..." stands for anything, alone in its line for any lines.
bool isShownAs(const std::string& printed, const std::string& shown) {
    std::string pattern = std::regex_replace(shown, std::regex(R"([.^$|()\[\]{}*+?\\])"), "\\$&");
    pattern = std::regex_replace(pattern, std::regex(R"((^|\n)\\.\\.\\.\n)"), "$1(?:.*\n)*");
    return std::regex_match(printed,
                            std::regex(std::regex_replace(pattern, std::regex(R"(\\.\\.\\.)"), ".*")));
}

// The commands of the document's console blocks, in a folder that has the labs.
TEST_F(Tool, TheWalkThroughOfAFederationPrintsWhatItShows) {
    fs::create_directory_symlink(fs::absolute(fs::path(WS_SOURCE_DIR) / "labs"), folder.path() / "labs");
    std::vector<std::pair<std::string, std::string>> commands;
    std::istringstream document(wstest::fileText(WS_SOURCE_DIR "/docs/federation.md"));
    bool console = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("```"))
            console = line == "```console";
        else if (console && line.starts_with("$ "))
            commands.emplace_back(line.substr(2), "");
        else if (console)
            commands.back().second += line + "\n";
    }
    EXPECT_GE(commands.size(), 8u);
    for (const auto& [command, shown] : commands) {
        const std::string script = "cd " + quoted(folder.utf8(".")) + "; PATH=" + quoted(WS_BIN_DIR) +
                                   ":$PATH; { " + command + "; } > " + quoted(folder.utf8("out")) + " 2>&1";
        static_cast<void>(std::system(script.c_str()));
        const std::string printed = folder.read("out");
        EXPECT_TRUE(isShownAs(printed, shown)) << command << "\n" << printed;
    }
}

TEST_F(Tool, WhatOnlyAPosixShellCanDo) {
    const Run invalid = run("getAppdataLocation \"a=$(printf '\\377')\"");
    EXPECT_EQ(invalid.status, 2);
    EXPECT_NE(invalid.err.find("argument 2 is not valid Unicode text"), std::string::npos) << invalid.err;

    EXPECT_EQ(run("--list > /dev/full").status, 3);

    const std::string tool =
        std::string("setsid \"") + WS_BIN_DIR + "/hdqadmin\" Diag p=@- 2> " + folder.utf8("e");
    EXPECT_EQ(WEXITSTATUS(std::system(tool.c_str())), 2);
    EXPECT_NE(folder.read("e").find("there is no terminal to read \"p\" from"), std::string::npos);
}
#endif

}  // namespace
