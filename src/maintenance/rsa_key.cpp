#include "maintenance/rsa_key.h"

#include <openssl/asn1t.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <utility>

#include "platform/module/module_log.h"

namespace wsadmin {

namespace {

struct FreeKeyPair {
    void operator()(EVP_PKEY* pair) const noexcept { EVP_PKEY_free(pair); }
};

// A key as the encoder takes it. OpenSSL's own encoders of keys free buffers with the private key unwiped, so
// the forms are described here, and the encoder writes into a buffer of ours.
struct RsaFields {
    BIGNUM *version, *modulus, *publicExponent, *privateExponent, *prime1, *prime2, *exponent1, *exponent2,
        *coefficient;
};

// The formatter takes these macros for one declaration.
// clang-format off
ASN1_SEQUENCE(RsaPublicForm) = {
    ASN1_SIMPLE(RsaFields, modulus, CBIGNUM),
    ASN1_SIMPLE(RsaFields, publicExponent, CBIGNUM),
} static_ASN1_SEQUENCE_END_name(RsaFields, RsaPublicForm);

ASN1_SEQUENCE(RsaPrivateForm) = {
    ASN1_SIMPLE(RsaFields, version, CBIGNUM),
    ASN1_SIMPLE(RsaFields, modulus, CBIGNUM),
    ASN1_SIMPLE(RsaFields, publicExponent, CBIGNUM),
    ASN1_SIMPLE(RsaFields, privateExponent, CBIGNUM),
    ASN1_SIMPLE(RsaFields, prime1, CBIGNUM),
    ASN1_SIMPLE(RsaFields, prime2, CBIGNUM),
    ASN1_SIMPLE(RsaFields, exponent1, CBIGNUM),
    ASN1_SIMPLE(RsaFields, exponent2, CBIGNUM),
    ASN1_SIMPLE(RsaFields, coefficient, CBIGNUM),
} static_ASN1_SEQUENCE_END_name(RsaFields, RsaPrivateForm);
// clang-format on

Result<CORE::WipedText> encoded(const RsaKey& key, const ASN1_ITEM* form) {
    const RsaNumber version(BN_new());  // 0: of two primes
    if (!version) return cryptoFailure(L"memory for the encoding");
    const RsaFields fields{
        version.get(),        key.modulus.get(), key.publicExponent.get(), key.privateExponent.get(),
        key.prime1.get(),     key.prime2.get(),  key.exponent1.get(),      key.exponent2.get(),
        key.coefficient.get()};
    const auto* const value = reinterpret_cast<const ASN1_VALUE*>(&fields);
    const int size = ASN1_item_i2d(value, nullptr, form);
    if (size <= 0) return cryptoFailure(L"the encoding of the key");
    CORE::WipedText der(static_cast<std::size_t>(size));
    auto* out = reinterpret_cast<unsigned char*>(der.extend(static_cast<std::size_t>(size)));
    if (ASN1_item_i2d(value, &out, form) != size) return cryptoFailure(L"the encoding of the key");
    return der;
}

}  // namespace

tl::unexpected<Failure> cryptoFailure(std::wstring_view step) {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    logError(L"Backup protection items cannot be made: %s failed (%S)", step,
             reason ? reason : "no reason given");
    ERR_clear_error();
    return fail(L"");
}

Result<RsaKey> newRsaKey() {
    constexpr std::size_t bits = 3072;
    const std::unique_ptr<EVP_PKEY, FreeKeyPair> pair(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", bits));
    if (!pair) return cryptoFailure(L"the generation of the key");
    constexpr std::pair<const char*, RsaNumber RsaKey::*> parts[] = {
        {OSSL_PKEY_PARAM_RSA_N, &RsaKey::modulus},
        {OSSL_PKEY_PARAM_RSA_E, &RsaKey::publicExponent},
        {OSSL_PKEY_PARAM_RSA_D, &RsaKey::privateExponent},
        {OSSL_PKEY_PARAM_RSA_FACTOR1, &RsaKey::prime1},
        {OSSL_PKEY_PARAM_RSA_FACTOR2, &RsaKey::prime2},
        {OSSL_PKEY_PARAM_RSA_EXPONENT1, &RsaKey::exponent1},
        {OSSL_PKEY_PARAM_RSA_EXPONENT2, &RsaKey::exponent2},
        {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, &RsaKey::coefficient},
    };
    RsaKey key;
    for (const auto& [name, part] : parts) {
        BIGNUM* number = nullptr;
        if (EVP_PKEY_get_bn_param(pair.get(), name, &number) != 1)
            return cryptoFailure(L"the reading of the key");
        (key.*part).reset(number);
    }
    return key;
}

Result<CORE::WipedText> publicKeyDer(const RsaKey& key) {
    return encoded(key, ASN1_ITEM_rptr(RsaPublicForm));
}

Result<CORE::WipedText> privateKeyDer(const RsaKey& key) {
    return encoded(key, ASN1_ITEM_rptr(RsaPrivateForm));
}

}  // namespace wsadmin
