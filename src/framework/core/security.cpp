#include "framework/core/security.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <vector>

#include "framework/core/coreexception.h"
#include "framework/core/key_file.h"
#include "framework/core/log.h"
#include "framework/core/system.h"

namespace CORE {

namespace {

using Bytes = std::vector<unsigned char>;

// The version of the text form. It is authenticated with the text, so that other versions are rejected.
constexpr std::string_view formMark = "{1}";
constexpr std::size_t nonceSize = 12;
constexpr std::size_t tagSize = 16;
constexpr std::size_t longestText = std::numeric_limits<int>::max() / 2;  // the cipher's lengths are int

struct CipherDeleter {
    void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using Cipher = std::unique_ptr<EVP_CIPHER_CTX, CipherDeleter>;

const unsigned char* unsignedBytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string toBase64(const Bytes& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                       static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// Nothing unless the text is exactly what toBase64 writes: another spelling of the same bytes counts as a
// changed text.
std::optional<Bytes> fromBase64(std::string_view text) {
    Bytes bytes(text.size() / 4 * 3 + 3);
    const int length = EVP_DecodeBlock(bytes.data(), unsignedBytes(text), static_cast<int>(text.size()));
    if (length < 0) return std::nullopt;
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    if (static_cast<std::size_t>(length) < padding) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    if (toBase64(bytes) != text) return std::nullopt;
    return bytes;
}

// Nonce, cipher text and tag, or nothing.
std::optional<Bytes> seal(const SecretKey& key, std::string_view plain) {
    Bytes sealed(nonceSize + plain.size() + tagSize);
    unsigned char* const text = sealed.data() + nonceSize;
    unsigned char* const tag = text + plain.size();
    const Cipher cipher(EVP_CIPHER_CTX_new());
    int done = 0;
    const bool sealedWell =
        cipher && RAND_bytes(sealed.data(), nonceSize) == 1 &&
        EVP_EncryptInit_ex(cipher.get(), EVP_aes_256_gcm(), nullptr, key.data(), sealed.data()) == 1 &&
        EVP_EncryptUpdate(cipher.get(), nullptr, &done, unsignedBytes(formMark), formMark.size()) == 1 &&
        EVP_EncryptUpdate(cipher.get(), text, &done, unsignedBytes(plain), static_cast<int>(plain.size())) ==
            1 &&
        EVP_EncryptFinal_ex(cipher.get(), tag, &done) == 1 &&
        EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, tag) == 1;
    if (!sealedWell) return std::nullopt;
    return sealed;
}

// False, with `plain` empty, when the tag does not match the text.
bool unseal(const SecretKey& key, Bytes& sealed, mstr& plain) {
    if (sealed.size() < nonceSize + tagSize) return false;
    const std::size_t length = sealed.size() - nonceSize - tagSize;
    const unsigned char* const text = sealed.data() + nonceSize;
    unsigned char* const tag = sealed.data() + nonceSize + length;
    auto* const out = reinterpret_cast<unsigned char*>(plain.p_upd(length));
    const Cipher cipher(EVP_CIPHER_CTX_new());
    int done = 0;
    const bool genuine =
        cipher &&
        EVP_DecryptInit_ex(cipher.get(), EVP_aes_256_gcm(), nullptr, key.data(), sealed.data()) == 1 &&
        EVP_DecryptUpdate(cipher.get(), nullptr, &done, unsignedBytes(formMark), formMark.size()) == 1 &&
        EVP_DecryptUpdate(cipher.get(), out, &done, text, static_cast<int>(length)) == 1 &&
        EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag) == 1 &&
        EVP_DecryptFinal_ex(cipher.get(), out + length, &done) == 1;
    if (!genuine) plain.clearAndWipe();
    return genuine;
}

// The bytes of a text with the version mark, or nothing.
std::optional<Bytes> fromText(std::wstring_view encrypted) {
    if (encrypted.size() > longestText) return std::nullopt;
    std::string text;
    text.reserve(encrypted.size());
    for (const wchar_t c : encrypted) {
        if (static_cast<std::uint32_t>(c) > 0x7e) return std::nullopt;
        text.push_back(static_cast<char>(c));
    }
    if (!text.starts_with(formMark)) return std::nullopt;
    return fromBase64(std::string_view(text).substr(formMark.size()));
}

}  // namespace

struct SecurityManager::State {
    std::mutex mutex;
    std::wstring path;  // empty: the platform's default
    bool loaded = false;
    SecretKey key{};

    ~State() { forget(); }
    void forget() noexcept {
        wipeMemory(key.data(), key.size());
        loaded = false;
    }
    const SecretKey& use() {
        if (!loaded) readOrMakeKey(path.empty() ? sys::defaultKeyFile() : path, key);
        loaded = true;
        return key;
    }
};

SecurityManager::SecurityManager() : state_(std::make_unique<State>()) {}

SecurityManager::~SecurityManager() = default;

SecurityManager& SecurityManager::System() {
    static SecurityManager instance;
    return instance;
}

void SecurityManager::setKeyFile(std::wstring_view path) {
    std::lock_guard lock(state_->mutex);
    state_->forget();
    state_->path = path;
}

mstr SecurityManager::Decrypt(std::wstring_view encrypted) {
    mstr plain;
    try {
        std::optional<Bytes> sealed = fromText(encrypted);
        std::lock_guard lock(state_->mutex);
        if (sealed && unseal(state_->use(), *sealed, plain)) return plain;
        __SysMessage(logError, L"mfwcore", L"An encrypted text was changed or was made under another key");
    } catch (const coreException& e) {
        __SysMessage(logError, L"mfwcore", L"An encrypted text cannot be read: %s", e.text());
    }
    return {};
}

wstr SecurityManager::Encrypt(std::string_view plain) {
    if (plain.size() > longestText) throw coreException(L"The text is too long to be encrypted");
    std::optional<Bytes> sealed;
    {
        std::lock_guard lock(state_->mutex);
        sealed = seal(state_->use(), plain);
    }
    if (!sealed) throw coreException(L"The text could not be encrypted");
    return toWide(std::string(formMark) + toBase64(*sealed));
}

bool coreportable::isAdmin(void* token) {
    return sys::isAdmin(token);
}

wstr coreportable::convertSidToStringSid(const void* sid) {
    const auto* const bytes = static_cast<const unsigned char*>(sid);
    if (!bytes || bytes[0] != 1 || bytes[1] > 15) return {};
    std::uint64_t authority = 0;
    for (int i = 2; i < 8; ++i) authority = authority << 8 | bytes[i];
    // Authorities beyond 32 bits are written in hexadecimal, as the platform does.
    wstr text;
    text.printf(authority >> 32 ? L"S-1-0x%012llx" : L"S-1-%llu", authority);
    for (int i = 0; i < bytes[1]; ++i) {
        std::uint32_t part = 0;
        for (int b = 3; b >= 0; --b) part = part << 8 | bytes[8 + 4 * i + b];
        text << L"-" << part;
    }
    return text;
}

}  // namespace CORE
