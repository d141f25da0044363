// What of a backup's protection items stays in memory, and what is said when they cannot be made.
#include "maintenance/backup_protection.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "support/log_capture.h"
#include "support/temp_folder.h"
#include "support/test_service.h"

using namespace wstest;
using namespace wsadmin;

namespace {

constexpr std::string_view digestText = "PdZiga5oOVX0QiFUFJ2XKAUK0ux8ftXYcor3CapJ6Rk=";

CORE::PropertyBag makeItems() {
    TestService service(std::make_shared<platform::Platform>());
    CORE::PropertyBag request;
    request.set(L"pwdSHA256Base64", digestText);
    return ask<&BackupProtection::encodeBackupProtectionItems>(service, request);
}

// No provider has what is asked of OpenSSL.
TEST(BackupProtection, WhatCannotBeMadeIsToldInTheLogAlone) {
    ASSERT_EQ(EVP_set_default_properties(nullptr, "provider=none"), 1);
    const LogCapture log;
    const auto answer = makeItems();
    const bool derived = deriveKey("p", "s", 1, 16).has_value();
    const bool encrypted = encryptAes128("0123456789abcdef", "p").has_value();
    EVP_set_default_properties(nullptr, "");
    EXPECT_EQ(answer.getError(), 1);
    EXPECT_TRUE(answer.getErrorText().empty() && answer.empty());
    EXPECT_FALSE(derived || encrypted);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(
        lines[0].text.starts_with(L"Backup protection items cannot be made: the generation of the key"));
}

}  // namespace

// Not under a sanitizer, whose own data is most of the memory.
#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "support/process_memory.h"

namespace {

constexpr std::size_t partSize = 16;

std::string bytesOfBase64(std::string_view text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                    reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    bytes.resize(bytes.size() - static_cast<std::size_t>(std::ranges::count(text, '=')));
    return bytes;
}

// Of the digest, of the derived key and, in both orders of bytes, of the private key's DER and numbers.
std::string partsOfSecrets(const CORE::PropertyBag& items) {
    const std::string digest = bytesOfBase64(digestText);
    const auto key = deriveKey(digest, bytesOfBase64(items.utf8(L"saltBase64")), 16'384, partSize).value();
    const std::string sealed = bytesOfBase64(items.utf8(L"keyK1PriBase64"));
    std::string der(sealed.size(), '\0');
    const std::array<unsigned char, partSize> zeroVector{};
    EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
    int size = 0;
    EVP_DecryptInit_ex(cipher, EVP_aes_128_cbc(), nullptr,
                       reinterpret_cast<const unsigned char*>(key.view(0, partSize).data()),
                       zeroVector.data());
    EVP_DecryptUpdate(cipher, reinterpret_cast<unsigned char*>(der.data()), &size,
                      reinterpret_cast<const unsigned char*>(sealed.data()), static_cast<int>(sealed.size()));
    if (!der.starts_with("\x30\x82")) return {};  // no private key
    std::string parts = digest.substr(0, partSize) + std::string(key.view(0, partSize));
    constexpr std::size_t behindPublicNumbers = 420, step = 96;
    for (std::size_t at = behindPublicNumbers; at + 2 * partSize < der.size(); at += step) {
        const std::string part = der.substr(at, partSize);
        parts.append(part).append(part.rbegin(), part.rend());
    }
    return parts;
}

TEST(BackupProtection, LeavesNoSecretInMemory) {
    const auto items = makeItems();
    ASSERT_EQ(items.getError(), 0);
    EXPECT_EQ(bytesOfBase64(items.utf8(L"saltBase64")).size(), 128U);
    EXPECT_TRUE(items.utf8(L"keyK1PubBase64").starts_with("MIIBigKCAYEA")) << "of 3072 bits";
    const TempFolder folder;  // filled by a process of its own, so that this one never has the secrets
    if (fork() == 0) {
        folder.write("inverted", invertedBytes(partsOfSecrets(items)));
        _exit(0);
    }
    wait(nullptr);
    const std::string inverted = folder.read("inverted");
    ASSERT_GT(inverted.size(), 20 * partSize);
    for (std::size_t at = 0; at < inverted.size(); at += partSize)
        EXPECT_FALSE(isInMemory({&inverted[at], partSize})) << at;
    const std::string held = invertedBytes(inverted.substr(0, partSize));
    EXPECT_TRUE(isInMemory({&inverted[0], partSize})) << "the search finds nothing at all";
}

}  // namespace
#endif
