// RSA keys as the numbers that they consist of, and their encoding by PKCS #1.
#pragma once

#include <openssl/bn.h>

#include <memory>
#include <string>

#include "framework/core/wiped_text.h"
#include "platform/result.h"

namespace wsadmin {

struct WipeNumber {
    void operator()(BIGNUM* number) const noexcept { BN_clear_free(number); }
};
using RsaNumber = std::unique_ptr<BIGNUM, WipeNumber>;

// Wiped when it goes.
struct RsaKey {
    RsaNumber modulus, publicExponent, privateExponent, prime1, prime2, exponent1, exponent2, coefficient;
};

// The failures of all of these carry no text: the reason is logged, and no caller is told more than that it
// failed.
tl::unexpected<Failure> cryptoFailure(std::wstring_view step);

// A new key of 3072 bits; it takes tenths of a second.
Result<RsaKey> newRsaKey();
// DER of RSAPublicKey and of RSAPrivateKey.
Result<CORE::WipedText> publicKeyDer(const RsaKey& key);
Result<CORE::WipedText> privateKeyDer(const RsaKey& key);

}  // namespace wsadmin
