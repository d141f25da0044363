#include "maintenance/backup_protection.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <memory>

#include "framework/core/ascii.h"
#include "maintenance/maintenance_keys.h"
#include "maintenance/rsa_key.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::WipedText;

namespace {

constexpr std::size_t saltSize = 128, keySize = 16, blockSize = 16;
constexpr int derivationRounds = 16'384;

struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
std::string_view viewOf(const WipedText& bytes) {
    return bytes.view(0, bytes.size());
}

// On one line.
std::string base64Of(std::string_view bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');  // with the NUL that is written behind it
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytesOf(bytes),
                                     static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

Result<std::string> newSalt() {
    std::string salt(saltSize, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(salt.data()), static_cast<int>(saltSize)) != 1)
        return cryptoFailure(L"the generation of the salt");
    return salt;
}

}  // namespace

// The decoder passes over blanks and takes padding anywhere, so the form is checked before.
Result<CORE::secretstring> digestFromBase64(std::string_view text) {
    constexpr std::size_t textSize = 44, digestSize = 32;
    const auto isDigit = [](char c) { return CORE::isAsciiAlphanumeric(c) || c == '+' || c == '/'; };
    if (text.size() != textSize || text.back() != '=' ||
        !std::ranges::all_of(text.substr(0, textSize - 1), isDigit)) {
        logError(L"Backup protection items cannot be made: the password's digest is not 32 bytes in Base64");
        return fail(L"");
    }
    WipedText bytes(digestSize + 1);  // the padding decodes to a byte, too
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.extend(digestSize + 1)), bytesOf(text),
                    static_cast<int>(textSize));
    return CORE::secretstring(bytes.view(0, digestSize));
}

Result<WipedText> deriveKey(std::string_view password, std::string_view salt, int rounds, std::size_t size) {
    WipedText key(size);
    auto* const out = reinterpret_cast<unsigned char*>(key.extend(size));
    if (PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), bytesOf(salt),
                               static_cast<int>(salt.size()), rounds, static_cast<int>(size), out) != 1)
        return cryptoFailure(L"the derivation of the key");
    return key;
}

Result<std::string> encryptAes128(std::string_view key, std::string_view plain) {
    constexpr std::array<unsigned char, blockSize> zeroVector{};
    const std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> cipher(EVP_CIPHER_CTX_new());
    std::string sealed(plain.size() + blockSize, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(sealed.data());
    int size = 0, last = 0;
    const bool done =
        cipher && key.size() == keySize &&
        EVP_EncryptInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, bytesOf(key), zeroVector.data()) == 1 &&
        EVP_EncryptUpdate(cipher.get(), out, &size, bytesOf(plain), static_cast<int>(plain.size())) == 1 &&
        EVP_EncryptFinal_ex(cipher.get(), out + size, &last) == 1;
    if (!done) return cryptoFailure(L"the encryption of the key");
    sealed.resize(static_cast<std::size_t>(size + last));
    return sealed;
}

Result<void> BackupProtection::encodeBackupProtectionItems() {
    const auto digest = digestFromBase64(request().utf8(key::passwordDigest));
    if (!digest) return fail(digest.error());
    const auto pair = newRsaKey();
    if (!pair) return fail(pair.error());
    const auto publicKey = publicKeyDer(*pair);
    if (!publicKey) return fail(publicKey.error());
    const auto salt = newSalt();
    if (!salt) return fail(salt.error());
    const auto key = deriveKey(digest->view(), *salt, derivationRounds, keySize);
    if (!key) return fail(key.error());
    const auto privateKey = privateKeyDer(*pair);
    if (!privateKey) return fail(privateKey.error());
    const auto sealed = encryptAes128(viewOf(*key), viewOf(*privateKey));
    if (!sealed) return fail(sealed.error());
    result().set(L"keyK1PubBase64", std::string_view(base64Of(viewOf(*publicKey))));
    result().set(L"keyK1PriBase64", std::string_view(base64Of(*sealed)));
    result().set(L"saltBase64", std::string_view(base64Of(*salt)));
    return {};
}

}  // namespace wsadmin
