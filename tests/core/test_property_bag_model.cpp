// Bags against a plain model of them, over long random (but always the same) sequences, and with 100,000
// entries.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"

using CORE::PropertyBag;
using CORE::wstr;

namespace {

struct ModelEntry {
    std::wstring name;
    std::wstring value;  // of a bag: that of its one entry, "v"
    bool isBag = false;
    bool operator==(const ModelEntry&) const = default;
};
using Model = std::vector<ModelEntry>;

std::vector<std::size_t> positions(const Model& model, const std::wstring& name) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < model.size(); ++i)
        if (CORE::equalFolded(model[i].name, name)) found.push_back(i);
    return found;
}

// Leaves so many entries of the name, the first ones.
void shorten(Model& model, const std::wstring& name, std::size_t keep) {
    auto all = positions(model, name);
    for (; all.size() > keep; all.pop_back())
        model.erase(model.begin() + static_cast<std::ptrdiff_t>(all.back()));
}

void set(Model& model, const ModelEntry& entry) {
    const auto all = positions(model, entry.name);
    if (all.empty()) return model.push_back(entry);
    model[all[0]] = entry;
    shorten(model, entry.name, 1);
}

void merge(Model& model, const Model& other) {
    const Model before = model;
    for (std::size_t i = 0; i < other.size(); ++i) {
        const auto mine = positions(before, other[i].name);
        const auto theirs = positions(other, other[i].name);
        const auto turn =
            static_cast<std::size_t>(std::find(theirs.begin(), theirs.end(), i) - theirs.begin());
        turn < mine.size() ? void(model[mine[turn]] = other[i]) : model.push_back(other[i]);
    }
    for (const ModelEntry& entry : other) shorten(model, entry.name, positions(other, entry.name).size());
}

Model modelOf(const PropertyBag& bag) {
    Model model;
    for (std::size_t i = 0; i < bag.size(); ++i)
        model.push_back({bag.getName(i).str(), (bag.isBag(i) ? bag.getBag(i).get(L"v") : bag.get(i)).str(),
                         bag.isBag(i)});
    return model;
}

void add(PropertyBag& bag, const ModelEntry& entry) {
    PropertyBag nested;
    nested.add(L"v", entry.value);
    entry.isBag ? bag.addBag(entry.name, nested) : bag.add(entry.name, entry.value);
}

void expectFound(const PropertyBag& bag, const Model& model, const std::wstring& name) {
    const auto all = positions(model, name);
    ASSERT_EQ(bag.contains(name), !all.empty());
    ASSERT_EQ(bag.isBag(name), !all.empty() && model[all[0]].isBag);
    wstr value;
    for (std::size_t from = 0; from <= model.size() + 1; ++from) {
        const auto next = std::lower_bound(all.begin(), all.end(), from);
        std::size_t at = from;
        ASSERT_EQ(bag.getNext(name, value, at), next != all.end());
        ASSERT_EQ(at, next == all.end() ? from : *next + 1);
    }
}

class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t n) { return static_cast<std::size_t>(engine_()) % n; }
    std::wstring name() {
        static constexpr const wchar_t* stems[] = {
            L"dn", L"DN", L"machine-name", L"Machine-Name", L"\u00E4nderung", L"\u00C4NDERUNG"};
        const std::wstring stem = stems[below(beyondAscii_ ? 6 : 4)];
        return below(3) == 0 ? stem : stem + std::to_wstring(below(30));
    }
    ModelEntry entry() {
        return {name(), std::wstring(below(4) == 0 ? below(300) : below(12), L"ab\u20AC"[below(3)]),
                below(8) == 0};
    }
    Model entries() {
        Model model(below(below(6) == 0 ? 60 : 8));
        for (ModelEntry& each : model) each = entry();
        return model;
    }
    void nextRound() { beyondAscii_ = !beyondAscii_; }

  private:
    std::mt19937 engine_;
    bool beyondAscii_ = false;  // are there such names?
};

void change(PropertyBag& bag, Model& model, Dice& dice) {
    const ModelEntry entry = dice.entry();
    PropertyBag nested;
    switch (dice.below(12)) {
        case 0:
        case 1:
            nested.add(L"v", entry.value);
            entry.isBag ? bag.setBag(entry.name, nested) : bag.set(entry.name, entry.value);
            return set(model, entry);
        case 2:
        case 3: {
            const Model other = dice.entries();
            PropertyBag source;
            for (const ModelEntry& each : other) add(source, each);
            dice.below(2) == 0 ? bag &= source : bag &= std::move(source);
            return merge(model, other);
        }
        case 4:
            bag = dice.below(2) == 0 ? PropertyBag(bag) : PropertyBag(std::move(bag));
            return;
        case 5:
            if (model.size() < 120) return;
            bag.clear();
            dice.nextRound();
            return model.clear();
        default:
            add(bag, entry);
            return model.push_back(entry);
    }
}

TEST(PropertyBagModel, EveryOperationAgrees) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        Dice dice(seed);
        PropertyBag bag;
        Model model;
        for (int step = 0; step < 3000; ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step);
            change(bag, model, dice);
            ASSERT_NO_FATAL_FAILURE(expectFound(bag, model, dice.name()));
            if (step % 10 == 0) {
                ASSERT_EQ(modelOf(bag), model);
            }
        }
    }
}

// What listings do: add and walk. A time proportional to the square of the number would be minutes here.
TEST(PropertyBagModel, WalksAndMergesManyEntriesOfOneName) {
    constexpr int many = 100'000;
    PropertyBag bag;
    for (int i = 0; i < many; ++i) {
        bag.add(i % 2 == 0 ? L"entry" : L"ENTRY", std::to_wstring(i));
        if (i % 10 == 0) bag.add(L"between", L"");
    }
    PropertyBag copy = bag;
    copy &= bag;
    wstr value;
    int seen = 0;
    for (std::size_t at = 0; copy.getNext(L"Entry", value, at); ++seen)
        ASSERT_EQ(value.str(), std::to_wstring(seen));
    EXPECT_EQ(seen, many);
    copy.set(L"entry", L"only");
    ASSERT_EQ(copy.size(), static_cast<std::size_t>(many / 10 + 1));
    EXPECT_EQ(copy.get(0).str(), L"only");
}

}  // namespace
