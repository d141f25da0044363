// The encodings of a backup's keys beside the platform's own, for a key that the platform made.
#include <windows.h>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <wincrypt.h>

#include <vector>

#include "maintenance/backup_protection.h"
#include "maintenance/rsa_key.h"

namespace {

using namespace wsadmin;

constexpr std::size_t modulusSize = 384, primeSize = modulusSize / 2;

std::string_view viewOf(const std::vector<BYTE>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
std::string_view viewOf(const CORE::WipedText& bytes) {
    return bytes.view(0, bytes.size());
}

class BackupKeys : public testing::Test {
  protected:
    ~BackupKeys() override { CryptReleaseContext(provider_, 0); }

    void SetUp() override {
        ASSERT_TRUE(CryptAcquireContextW(&provider_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
        HCRYPTKEY pair = 0;
        ASSERT_TRUE(
            CryptGenKey(provider_, CALG_RSA_KEYX, (3072U << 16) | CRYPT_EXPORTABLE | CRYPT_NO_SALT, &pair));
        DWORD size = 0;
        ASSERT_TRUE(CryptExportKey(pair, 0, PRIVATEKEYBLOB, 0, nullptr, &size));
        ASSERT_EQ(size, 1748U);
        blob_.resize(size);
        ASSERT_TRUE(CryptExportKey(pair, 0, PRIVATEKEYBLOB, 0, blob_.data(), &size));
        CryptDestroyKey(pair);
        readNumbers();
    }
    // Those of the blob, least significant byte first.
    void readNumbers() {
        std::size_t at = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);
        const auto next = [&](std::size_t size) {
            const std::size_t begin = std::exchange(at, at + size);
            return RsaNumber(BN_lebin2bn(&blob_[begin], static_cast<int>(size), nullptr));
        };
        key_.modulus = next(modulusSize);
        for (RsaNumber* each :
             {&key_.prime1, &key_.prime2, &key_.exponent1, &key_.exponent2, &key_.coefficient})
            *each = next(primeSize);
        key_.privateExponent = next(modulusSize);
        key_.publicExponent.reset(BN_new());
        BN_set_word(key_.publicExponent.get(), header(blob_).pubexp);
    }
    static RSAPUBKEY& header(std::vector<BYTE>& blob) {
        return *reinterpret_cast<RSAPUBKEY*>(&blob[sizeof(BLOBHEADER)]);
    }

    HCRYPTPROV provider_ = 0;
    std::vector<BYTE> blob_;
    RsaKey key_;
};

TEST_F(BackupKeys, PublicHalfIsEncodedAsByThePlatform) {
    std::vector<BYTE> half = blob_;
    half[0] = PUBLICKEYBLOB;
    header(half).magic = 0x31415352;  // "RSA1"
    DWORD size = 0;
    ASSERT_TRUE(CryptEncodeObject(X509_ASN_ENCODING, RSA_CSP_PUBLICKEYBLOB, half.data(), nullptr, &size));
    std::vector<BYTE> der(size);
    ASSERT_TRUE(CryptEncodeObject(X509_ASN_ENCODING, RSA_CSP_PUBLICKEYBLOB, half.data(), der.data(), &size));
    EXPECT_TRUE(viewOf(publicKeyDer(key_).value()) == viewOf(der));
}

TEST_F(BackupKeys, PrivateHalfIsReadByOthersAndEncryptedAsByThePlatform) {
    const CORE::WipedText der = privateKeyDer(key_).value();
    const auto* bytes = reinterpret_cast<const unsigned char*>(viewOf(der).data());
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> read(
        d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &bytes, static_cast<long>(der.size())), EVP_PKEY_free);
    ASSERT_TRUE(read);
    const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> check(
        EVP_PKEY_CTX_new(read.get(), nullptr), EVP_PKEY_CTX_free);
    EXPECT_EQ(EVP_PKEY_pairwise_check(check.get()), 1);

    struct {
        BLOBHEADER header{PLAINTEXTKEYBLOB, 2, 0, CALG_AES_128};
        DWORD size = 16;
        BYTE key[16] = {3, 20, 37, 54, 71, 88, 105, 122, 139, 156, 173, 190, 207, 224, 241, 2};
    } aes;
    HCRYPTKEY cipher = 0;
    ASSERT_TRUE(CryptImportKey(provider_, reinterpret_cast<BYTE*>(&aes), sizeof aes, 0, 0, &cipher));
    DWORD size = static_cast<DWORD>(der.size());
    std::vector<BYTE> sealed(der.size() + sizeof aes.key);
    std::ranges::copy(viewOf(der), sealed.begin());
    ASSERT_TRUE(CryptEncrypt(cipher, 0, TRUE, 0, sealed.data(), &size, static_cast<DWORD>(sealed.size())));
    sealed.resize(size);
    CryptDestroyKey(cipher);
    EXPECT_TRUE(encryptAes128({reinterpret_cast<char*>(aes.key), sizeof aes.key}, viewOf(der)).value() ==
                viewOf(sealed));
}

}  // namespace
