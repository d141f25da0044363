// The protection items of a backup: everything but the generation of the key, beside the generation itself,
// which is the mean of a hundred keys.
#include <benchmark/benchmark.h>

#include <stdexcept>

#include "maintenance/backup_protection.h"
#include "maintenance/rsa_key.h"

namespace {

using namespace wsadmin;

void generation(benchmark::State& state) {
    for (auto unused : state) {
        (void)unused;
        if (!newRsaKey()) throw std::runtime_error("no key");
    }
}

void allTheRest(benchmark::State& state) {
    const auto pair = newRsaKey();
    const std::string salt(128, 's');
    for (auto unused : state) {
        (void)unused;
        const auto digest = digestFromBase64("PdZiga5oOVX0QiFUFJ2XKAUK0ux8ftXYcor3CapJ6Rk=");
        const auto publicKey = publicKeyDer(*pair);
        const auto key = deriveKey(digest->view(), salt, 16'384, 16);
        const auto privateKey = privateKeyDer(*pair);
        const auto sealed = encryptAes128(key->view(0, key->size()), privateKey->view(0, privateKey->size()));
        if (!publicKey || !sealed) throw std::runtime_error("no items");
        benchmark::DoNotOptimize(sealed->data());
    }
}

constexpr int keys = 100;
BENCHMARK(allTheRest)->Name("all_the_rest/key")->Iterations(keys)->Unit(benchmark::kMillisecond);
BENCHMARK(generation)->Name("peer/key")->Iterations(keys)->Unit(benchmark::kMillisecond);

}  // namespace
