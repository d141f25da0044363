// The tool itself, run as an administrator runs it: what it prints where, and how it exits.

#include <cstdlib>
#include <regex>

#include "support/rows.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

#if defined(_WIN32)
constexpr bool posix = false;
#else
constexpr bool posix = true;
#endif

class Tool : public testing::Test {
  protected:
    struct Run {
        int status = -1;
        std::string out, err;
    };

    static std::string quoted(const std::string& word) { return "\"" + word + "\""; }

    // What a shell makes of a program and its arguments, which may direct the output elsewhere.
    Run shell(const std::string& program, const std::string& arguments = "") const {
        std::string line = program + " > " + quoted(folder.utf8("out")) + " 2> " +
                           quoted(folder.utf8("err")) + " " + arguments;
        if (!posix) line = quoted(line);  // the other shell takes one pair of quotes away
        int status = std::system(line.c_str());
        if (posix) status = (status & 0x7f) == 0 ? (status >> 8) & 0xff : -1;
        return {status, folder.read("out"), folder.read("err")};
    }
    Run run(const std::string& arguments) const {
        const fs::path tool = fs::absolute(WS_BIN_DIR) / (posix ? "hdqadmin" : "hdqadmin.exe");
        return shell(quoted(fs::path(tool).make_preferred().string()), arguments);
    }

    // The sample lab, to be changed.
    fs::path copiedLab() const {
        const fs::path lab = folder.path() / "lab";
        fs::copy(fs::absolute(fs::path(WS_SOURCE_DIR) / "labs" / "sample"), lab, fs::copy_options::recursive);
        return lab;
    }
    // Is the text in the file "err"?
    void expectErr(const std::string& text) const {
        EXPECT_TRUE(wstest::hasPart(folder.read("err"), text)) << text << "\n" << folder.read("err");
    }

    wstest::TempFolder folder;
};

TEST_F(Tool, ExitStatusAndStreams) {
    folder.write("long", "[[\"" + std::string(70000, 'n') + "\", \"\"]]");
    folder.write("bytes", "{\"operation\": \"getAppdataLocation\"}\n{\"operation\": \"\xff\"}\n");
    const auto written = [this](const wstest::Json& in) {
        fs::create_directories((folder.path() / in[0].get<std::string>()).parent_path());
        folder.write(in[0], in[1].get<std::string>());
        return in[0];
    };
    const auto ran = [this](const wstest::Json& in) {
        std::string arguments = in.is_array() ? in[0] : in;
        constexpr std::string_view ownFolder = "FOLDER/";
        if (const auto at = arguments.find(ownFolder); at != std::string::npos)
            arguments.replace(at, ownFolder.size(), folder.utf8(""));
        const Run result = run(arguments);
        EXPECT_EQ(result.status, in.is_array() ? in[1].get<int>() : 0) << arguments << result.err;
        EXPECT_TRUE(result.status < 2 || result.out.empty()) << arguments << result.out;
        return result;
    };
    wstest::tryRows(WS_SOURCE_DIR "/tests/host/tool.jsonl",
                    {{"file", written},
                     {"fails", [&](auto& in) { return ran(in).err; }},
                     {"prints", [&](auto& in) { return ran(in).out; }}});
}

TEST_F(Tool, ChangesAreWrittenBackOnlyWhenAsked) {
    const fs::path file = copiedLab() / "pod" / "settings.ldif";
    const std::string lab = " --lab " + quoted(folder.utf8("lab")), change = "setClusterName clustername=";
    const Run unsaved = run(change + "Unsaved" + lab);
    EXPECT_EQ(unsaved.status, 0);
    EXPECT_EQ(
        unsaved.err,
        "WARNING ws_admin saving: What changed in pod/settings.ldif is not kept: nothing was to be saved\n");
    EXPECT_FALSE(wstest::hasPart(wstest::fileText(file), "Unsaved"));
    const Run saved = run(change + "Saved --save" + lab);
    EXPECT_EQ(saved.status, 0);
    EXPECT_EQ(saved.err, "");
    EXPECT_TRUE(wstest::hasPart(wstest::fileText(file), "Saved"));
    fs::permissions(file, fs::perms::owner_read | fs::perms::group_read);
    EXPECT_EQ(run(change + "Other --save" + lab).status, 3);
    expectErr("ERROR ws_admin saving: Failed to save changes - ");
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
    EXPECT_NE(err.find("WARNING winauth: Failed to read the trusts"), std::string::npos);
    EXPECT_EQ(err.find(" is not checked", first + 1), std::string::npos) << err;
}

#if !defined(_WIN32)
TEST_F(Tool, IsWholeWhereverItIsCopied) {
    for (const char* name : {"hdqadmin", "libmfwcore.so", "ws_admin.so"})
        fs::copy(fs::path(WS_BIN_DIR) / name, folder.path() / name);
    const std::string copy = quoted(folder.utf8("hdqadmin"));
    const Run traced = shell("LD_TRACE_LOADED_OBJECTS=1 " + copy);
    EXPECT_EQ(traced.status, 0);
    EXPECT_TRUE(wstest::hasPart(traced.out, folder.utf8("libmfwcore.so"))) << traced.out;

    // Without the authentication worker there are no domains, and why is told.
    EXPECT_EQ(shell(copy, "--json Diag").status, 0);
    EXPECT_EQ(wstest::Json::parse(folder.read("out"))["nested"][0]["text"],
              "Failed to issue request to winauth service");
    expectErr("cannot load " + folder.utf8("winauth.so"));
    fs::remove(folder.path() / "ws_admin.so");
    fs::copy(fs::path(WS_BIN_DIR) / "libmfwcore.so", folder.path() / "ws_admin.so");
    EXPECT_EQ(shell(copy, "getAppdataLocation").status, 3);
    expectErr("ws_admin.so is not a plug-in: it lacks an entry point");
}

TEST_F(Tool, NamesItsTargetOnATerminal) {
    const std::string file = folder.write("pod.toml", "");
    const std::pair<std::string, std::string> rows[] = {
        {"", "hdqadmin: works on the lab "},
        {"", "labs/sample; changes are not kept without --save"},
        {"--machine VCS1 --lab " WS_SOURCE_DIR "/labs/federation", "hdqadmin: works on VCS1 of the lab "},
        {"--config " + file, "hdqadmin: works on the directories of " + file}};
    for (const auto& [options, said] : rows) {
        const Run shown =
            shell("script -qec '" WS_BIN_DIR "/hdqadmin getAppdataLocation " + options + "' /dev/null");
        EXPECT_EQ(shown.status, 0);
        EXPECT_TRUE(wstest::hasPart(shown.out, said)) << shown.out;
    }
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
    for (const char* line : {"hdqadmin:   0 % QRV Init operation\n", "hdqadmin:  80 % Loading starter data\n",
                             "hdqadmin: stopping; a program that was started runs to its end",
                             "WARNING ws_admin: Interrupted for service shutdown\n",
                             "hdqadmin: the state flags: the server's is 0, the pod's is 0"})
        expectErr(line);
    // The layer was cleaned up, and what is saved says so.
    EXPECT_EQ(run("qrvLdapInfo --lab " + quoted(lab)).status, 1);
    expectErr("Global LDAP layer does not exist");
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
                                   ":$PATH; { " + command + "; }";
        const std::string printed = shell(script, "2>&1").out;
        EXPECT_TRUE(isShownAs(printed, shown)) << command << "\n" << printed;
    }
}

TEST_F(Tool, WhatOnlyAPosixShellCanDo) {
    EXPECT_EQ(run("getAppdataLocation \"a=$(printf '\\377')\"").status, 2);
    expectErr("argument 2 is not valid Unicode text");
    EXPECT_EQ(run("--list > /dev/full").status, 3);
    EXPECT_EQ(shell("setsid " + quoted(WS_BIN_DIR "/hdqadmin"), "Diag p=@-").status, 2);
    expectErr("there is no terminal to read \"p\" from");
}
#endif

}  // namespace
