// CORE::PropertyBag against nlohmann::ordered_json doing the same with the same names and values. Each
// bag/WHAT/N has its peer/WHAT/N; `held` is the memory that what was made holds afterwards, counted for both
// by the heap's own measure (malloc_usable_size of every block that is still there).
//
// Bags take wide names, as the workers give them, and ignore case; the peer takes std::string and does not.
// Looking up in the peer takes a time proportional to its size: what would take minutes in it is done for a
// sample only, the same in both.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"

namespace {

std::atomic<std::size_t> heapBytes;

}  // namespace

// Not inlined: the compiler would take malloc and delete for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    heapBytes.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    heapBytes.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
    std::free(block);
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete[](void* block) noexcept {
    operator delete(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

using CORE::PropertyBag;
using nlohmann::ordered_json;

constexpr std::size_t sampleSize = 1000;

struct Entry {
    std::wstring wideName;
    std::wstring wideValue;
    std::string name;
    std::string value;
};

// Names and values as answers have them: keys, display names, DNs.
std::vector<Entry> entries(std::size_t from, std::size_t count) {
    static constexpr const char* stems[] = {"dn-", "machine-name-", "assigned-user-sid-", "state-",
                                            "display-name-"};
    std::vector<Entry> all;
    for (std::size_t i = from; i < from + count; ++i) {
        std::string name = stems[i % std::size(stems)] + std::to_string(i);
        std::string value =
            i % 5 == 0 ? "cn=" + name + ",ou=Servers,dc=vdi,dc=talvex,dc=int" : "VM-" + std::to_string(i * 7);
        all.push_back({{name.begin(), name.end()}, {value.begin(), value.end()}, name, value});
    }
    return all;
}

// How each side does one thing.
struct Bag {
    using Container = PropertyBag;
    static void append(PropertyBag& bag, const Entry& entry) { bag.add(entry.wideName, entry.wideValue); }
    static void set(PropertyBag& bag, const Entry& entry) { bag.set(entry.wideName, entry.wideValue); }
    static std::size_t textSize(const PropertyBag& bag, const Entry& entry) {
        return bag.utf8(entry.wideName).size();
    }
    static void merge(PropertyBag& bag, PropertyBag& other) { bag &= std::move(other); }
};

struct Peer {
    using Container = ordered_json;
    // Its own emplace and operator[] look through all names first; this is what it can do without that.
    static void append(ordered_json& json, const Entry& entry) {
        auto& object = json.get_ref<ordered_json::object_t&>();
        object.ordered_json::object_t::Container::emplace_back(entry.name, entry.value);
    }
    static void set(ordered_json& json, const Entry& entry) { json[entry.name] = entry.value; }
    static std::size_t textSize(const ordered_json& json, const Entry& entry) {
        const auto found = json.find(entry.name);
        return found == json.end() ? 0 : found->get_ref<const std::string&>().size();
    }
    static void merge(ordered_json& json, ordered_json& other) { json.update(other); }
};

template <class Side>
typename Side::Container none() {
    if constexpr (std::is_same_v<Side, Peer>)
        return ordered_json::object();
    else
        return {};
}

template <class Side>
typename Side::Container built(const std::vector<Entry>& from) {
    auto container = none<Side>();
    for (const Entry& entry : from) Side::append(container, entry);
    return container;
}

template <class Container>
void countHeld(benchmark::State& state, Container container) {
    const std::size_t with = heapBytes;
    container = Container();
    state.counters["held"] = static_cast<double>(with - heapBytes);
}

// Appends n entries, and gives them back.
template <class Side>
void build(benchmark::State& state) {
    const auto all = entries(0, static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        auto container = built<Side>(all);
        benchmark::DoNotOptimize(container);
    }
    countHeld(state, built<Side>(all));
}

// Sets the last entries of n, each looked for first.
template <class Side>
void buildBySet(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const std::size_t sample = std::min(n, sampleSize);
    const auto base = built<Side>(entries(0, n - sample));
    const auto last = entries(n - sample, sample);
    for (auto _ : state) {
        state.PauseTiming();
        auto container = base.empty() ? none<Side>() : base;
        state.ResumeTiming();
        for (const Entry& entry : last) Side::set(container, entry);
        benchmark::DoNotOptimize(container);
        state.PauseTiming();
        container = none<Side>();
        state.ResumeTiming();
    }
}

template <class Side>
void lookUp(benchmark::State& state, const std::vector<Entry>& all, std::vector<Entry> wanted) {
    const auto container = built<Side>(all);
    if (wanted.size() > sampleSize) {
        std::vector<Entry> sample;
        for (std::size_t i = 0; i < sampleSize; ++i) sample.push_back(wanted[i * wanted.size() / sampleSize]);
        wanted = std::move(sample);
    }
    for (auto _ : state)
        for (const Entry& entry : wanted) benchmark::DoNotOptimize(Side::textSize(container, entry));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(wanted.size()));
}

// Every name once (a sample of the large).
template <class Side>
void lookUpHit(benchmark::State& state) {
    const auto all = entries(0, static_cast<std::size_t>(state.range(0)));
    lookUp<Side>(state, all, all);
}

// As many names that are not there.
template <class Side>
void lookUpMiss(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    lookUp<Side>(state, entries(0, n), entries(n, n));
}

// Merges `count` entries, of which half are new, into n.
template <class Side>
void mergeInto(benchmark::State& state, std::size_t n, std::size_t count) {
    const std::size_t rounds = std::max<std::size_t>(1, 256 / n);
    const auto base = built<Side>(entries(0, n));
    const auto other = built<Side>(entries(n - count / 2, count));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<typename Side::Container> into(rounds, base);
        std::vector<typename Side::Container> from(rounds, other);
        state.ResumeTiming();
        for (std::size_t i = 0; i < rounds; ++i) Side::merge(into[i], from[i]);
        benchmark::DoNotOptimize(into);
        state.PauseTiming();
        into.clear();
        from.clear();
        state.ResumeTiming();
    }
    auto merged = base;
    auto source = other;
    Side::merge(merged, source);
    countHeld(state, std::move(merged));
}

template <class Side>
void merge(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    mergeInto<Side>(state, n, std::min(n, sampleSize));
}

// All of another bag of the same size.
template <class Side>
void mergeWhole(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    mergeInto<Side>(state, n, n);
}

// A list as answers have it: n nested entries of five texts each, moved into the list.
template <class Side>
void buildList(benchmark::State& state) {
    const auto five = entries(0, 5);
    const auto list = [&] {
        auto whole = none<Side>();
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            auto item = built<Side>(five);
            if constexpr (std::is_same_v<Side, Peer>)
                whole.template get_ref<ordered_json::object_t&>()
                    .ordered_json::object_t::Container::emplace_back("machine-entry", std::move(item));
            else
                whole.addBag(L"machine-entry", std::move(item));
        }
        return whole;
    };
    for (auto _ : state) {
        auto whole = list();
        benchmark::DoNotOptimize(whole);
    }
    countHeld(state, list());
}

template <class Side>
void copy(benchmark::State& state) {
    const auto container = built<Side>(entries(0, static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        auto copied = container;
        benchmark::DoNotOptimize(copied);
    }
    countHeld(state, typename Side::Container(container));
}

const int registered = [] {
    const auto pair = [](const std::string& what, auto bag, auto peer,
                         std::initializer_list<std::int64_t> sizes) {
        for (const std::int64_t n : sizes) {
            benchmark::RegisterBenchmark(("bag/" + what).c_str(), bag)->Arg(n);
            benchmark::RegisterBenchmark(("peer/" + what).c_str(), peer)->Arg(n);
        }
    };
    pair("build", build<Bag>, build<Peer>, {10, 1000, 100'000});
    pair("build-by-set", buildBySet<Bag>, buildBySet<Peer>, {10, 1000, 100'000});
    pair("build-list", buildList<Bag>, buildList<Peer>, {10, 1000, 100'000});
    pair("copy", copy<Bag>, copy<Peer>, {10, 1000, 100'000});
    pair("lookup-hit", lookUpHit<Bag>, lookUpHit<Peer>, {10, 1000, 100'000});
    pair("lookup-miss", lookUpMiss<Bag>, lookUpMiss<Peer>, {10, 1000, 100'000});
    pair("merge", merge<Bag>, merge<Peer>, {10, 1000, 100'000});
    pair("merge-whole", mergeWhole<Bag>, mergeWhole<Peer>, {10'000});
    return 0;
}();

}  // namespace
