// The protection items of a backup as a stranger reads them: with OpenSSL's own tools, from both builds.
#include <gtest/gtest.h>

#include "integration/tool.h"
#include "support/temp_folder.h"

namespace integration {
namespace {

// Whether the private key in FOLDER, decrypted under the digest ($2, in hexadecimal), is a sound one of 3072
// bits whose public half is the public key there.
bool decodes(const wstest::TempFolder& folder, const std::string& digest) {
    constexpr char script[] = R"sh(set -e; cd "$1"
salt=$(base64 -d saltBase64 | od -An -v -tx1 | tr -d ' \n')
key=$(openssl kdf -keylen 16 -kdfopt digest:SHA1 -kdfopt "hexpass:$2" -kdfopt "hexsalt:$salt" -kdfopt iter:16384 PBKDF2)
base64 -d keyK1PubBase64 >public.der
base64 -d keyK1PriBase64 >private.enc
openssl enc -d -aes-128-cbc -K "$(echo "$key" | tr -d :)" -iv 00000000000000000000000000000000 -in private.enc -out private.der
openssl rsa -inform DER -in private.der -check -noout -text | grep 'Private-Key: (3072 bit'
openssl rsa -inform DER -in private.der -RSAPublicKey_out -outform DER -out derived.der
cmp public.der derived.der)sh";
    return run({"sh", "-c", script, "sh", folder.path().string(), digest}).status == 0;
}

TEST(BackupItems, AreDecodedWithTheDigestOfThePasswordAlone) {
    const std::string text = "PdZiga5oOVX0QiFUFJ2XKAUK0ux8ftXYcor3CapJ6Rk=";
    const std::string digest = "3dd66281ae683955f4422154149d9728050ad2ec7c7ed5d8728af709aa49e919";
    const Request request{"encodeBackupProtectionItems", Json::array({{"pwdSHA256Base64", text}})};
    for (const Build build : {Build::native, Build::windows}) {
        SCOPED_TRACE(testing::PrintToString(build));
        const auto answers = askAll(build, {}, {request, request});
        const Json &first = answers[0].json["result"], &second = answers[1].json["result"];
        ASSERT_EQ(first.size(), 3U) << answers[0].errors;
        for (std::size_t i = 0; i < first.size(); ++i) EXPECT_NE(first[i], second.at(i));
        const wstest::TempFolder folder;
        for (const Json& item : first) folder.write(item[0], item[1].get<std::string>());
        EXPECT_TRUE(decodes(folder, digest));
        EXPECT_FALSE(decodes(folder, "00" + digest.substr(2)));
    }
}

}  // namespace
}  // namespace integration
