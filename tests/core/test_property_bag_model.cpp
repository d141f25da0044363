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
    std::wstring value;
    std::vector<ModelEntry> bag;
    bool isBag = false;
};
using Model = std::vector<ModelEntry>;

bool same(const std::wstring& a, const std::wstring& b) {
    return CORE::compareFolded(std::wstring_view(a), std::wstring_view(b)) == 0;
}

std::vector<std::size_t> positions(const Model& model, const std::wstring& name) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < model.size(); ++i)
        if (same(model[i].name, name)) found.push_back(i);
    return found;
}

void remove(Model& model, const std::wstring& name, std::size_t keep) {
    auto all = positions(model, name);
    while (all.size() > keep) {
        model.erase(model.begin() + static_cast<std::ptrdiff_t>(all.back()));
        all.pop_back();
    }
}

void set(Model& model, const ModelEntry& entry) {
    const auto all = positions(model, entry.name);
    if (all.empty()) return model.push_back(entry);
    model[all[0]] = entry;
    remove(model, entry.name, 1);
}

void merge(Model& model, const Model& other) {
    const Model before = model;
    for (std::size_t i = 0; i < other.size(); ++i) {
        const auto mine = positions(before, other[i].name);
        const auto theirs = positions(other, other[i].name);
        const auto turn =
            static_cast<std::size_t>(std::find(theirs.begin(), theirs.end(), i) - theirs.begin());
        if (turn < mine.size())
            model[mine[turn]] = other[i];
        else
            model.push_back(other[i]);
    }
    for (const ModelEntry& entry : other) remove(model, entry.name, positions(other, entry.name).size());
}

void expectEqual(const PropertyBag& bag, const Model& model) {
    ASSERT_EQ(bag.size(), model.size());
    for (std::size_t i = 0; i < model.size(); ++i) {
        ASSERT_EQ(bag.getName(i).str(), model[i].name);
        ASSERT_EQ(bag.get(i).str(), model[i].value);
        ASSERT_EQ(bag.isBag(i), model[i].isBag);
        if (model[i].isBag) expectEqual(bag.getBag(i), model[i].bag);
    }
}

void expectFound(const PropertyBag& bag, const Model& model, const std::wstring& name) {
    const auto all = positions(model, name);
    ASSERT_EQ(bag.contains(name), !all.empty());
    ASSERT_EQ(bag.get(name, L"none").str(), all.empty() ? L"none" : model[all[0]].value);
    wstr value;
    std::vector<std::size_t> walked;
    for (std::size_t at = 0; bag.getNext(name, value, at);) walked.push_back(at - 1);
    ASSERT_EQ(walked, all);
    for (std::size_t from = 0; from <= model.size(); ++from) {  // positions that no walk left behind
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
        const std::wstring stem = stems[below(std::size(stems))];
        return below(3) == 0 ? stem : stem + std::to_wstring(below(30));
    }
    ModelEntry entry() {
        if (below(8) != 0)
            return {name(),
                    std::wstring(below(4) == 0 ? below(300) : below(12), L"ab\u20AC"[below(3)]),
                    {},
                    false};
        Model nested;
        for (std::size_t n = below(5); n > 0; --n) nested.push_back({name(), std::to_wstring(n), {}, false});
        return {name(), {}, nested, true};
    }

  private:
    std::mt19937 engine_;
};

PropertyBag made(const Model& model) {
    PropertyBag bag;
    for (const ModelEntry& entry : model)
        entry.isBag ? bag.addBag(entry.name, made(entry.bag)) : bag.add(entry.name, entry.value);
    return bag;
}

void change(PropertyBag& bag, Model& model, Dice& dice) {
    const ModelEntry entry = dice.entry();
    switch (dice.below(12)) {
        case 0:
        case 1:
            entry.isBag ? bag.setBag(entry.name, made(entry.bag)) : bag.set(entry.name, entry.value);
            return set(model, entry);
        case 2:
            bag.remove(entry.name);
            return remove(model, entry.name, 0);
        case 3: {
            Model other;
            for (std::size_t n = dice.below(dice.below(6) == 0 ? 60 : 8); n > 0; --n)
                other.push_back(dice.entry());
            PropertyBag source = made(other);
            dice.below(2) == 0 ? bag &= source : bag &= std::move(source);
            return merge(model, other);
        }
        case 4:
            bag = dice.below(2) == 0 ? PropertyBag(bag) : PropertyBag(std::move(bag));
            return;
        case 5:
            if (model.size() < 120) return;
            bag.clear();
            return model.clear();
        default:
            entry.isBag ? bag.addBag(entry.name, made(entry.bag)) : bag.add(entry.name, entry.value);
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
            if (step % 10 != 0) continue;
            ASSERT_NO_FATAL_FAILURE(expectEqual(bag, model));
        }
    }
}

constexpr int many = 100'000;

std::wstring manyName(int i) {
    return (i % 3 == 0 ? L"Name-" : L"n\u00E4me-") + std::to_wstring(i);
}

TEST(PropertyBagModel, FindsEachOfManyNames) {
    PropertyBag bag;
    for (int i = 0; i < many; ++i) bag.set(manyName(i), std::to_wstring(i));
    ASSERT_EQ(bag.size(), static_cast<std::size_t>(many));
    PropertyBag half;
    for (int i = 0; i < many; i += 2) half.add(manyName(i), L"new");
    for (int i = 0; i < 10; ++i) bag.remove(manyName(i * 9999));
    bag &= std::move(half);
    for (int i = 0; i < many; ++i) {
        const bool removed = i % 9999 == 0 && i < 99990;
        const std::wstring expected = i % 2 == 0 ? L"new" : removed ? L"" : std::to_wstring(i);
        ASSERT_EQ(bag.get(manyName(i)).str(), expected) << i;
        ASSERT_FALSE(bag.contains(std::to_wstring(i)));
    }
    EXPECT_EQ(bag.getName(0).str(), manyName(1));
    EXPECT_EQ(bag.getName(bag.size() - 1).str(), manyName(79992));  // the last one that came back
}

TEST(PropertyBagModel, WalksManyEntriesOfOneName) {
    PropertyBag bag;
    for (int i = 0; i < many; ++i) {
        bag.add(i % 2 == 0 ? L"entry" : L"ENTRY", std::to_wstring(i));
        if (i % 10 == 0) bag.add(L"between", L"");
    }
    PropertyBag copy;
    copy &= bag;
    copy &= bag;
    wstr value;
    int seen = 0;
    for (std::size_t at = 0; copy.getNext(L"Entry", value, at); ++seen)
        ASSERT_EQ(value.str(), std::to_wstring(seen));
    EXPECT_EQ(seen, many);
    copy.set(L"entry", L"only");
    ASSERT_EQ(copy.size(), static_cast<std::size_t>(many / 10 + 1));
    copy.remove(L"between");
    ASSERT_EQ(copy.size(), 1u);
    EXPECT_EQ(copy.get(0).str(), L"only");
}

}  // namespace
