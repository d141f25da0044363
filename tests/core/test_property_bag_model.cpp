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
    std::wstring value;  // of a bag: what it shows of itself
    bool isBag = false;
    bool operator==(const ModelEntry&) const = default;
};
struct Model : std::vector<ModelEntry> {
    std::wstring error{};
    bool operator==(const Model&) const = default;
};

std::vector<std::size_t> positions(const Model& model, const std::wstring& name) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < model.size(); ++i)
        if (CORE::equalFolded(model[i].name, name)) found.push_back(i);
    return found;
}

// The n-th of a name takes the place of the n-th here. What comes to set is merged as the only one.
Model merged(const Model& mine, const Model& theirs) {
    const auto turnOf = [](const Model& model, std::size_t i) {
        return static_cast<std::size_t>(
            std::ranges::count_if(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(i),
                                  [&](auto& one) { return CORE::equalFolded(one.name, model[i].name); }));
    };
    Model result{{}, theirs.error.empty() ? mine.error : theirs.error};
    for (std::size_t i = 0; i < mine.size(); ++i) {
        const auto partners = positions(theirs, mine[i].name);
        if (partners.empty())
            result.push_back(mine[i]);
        else if (const std::size_t turn = turnOf(mine, i); turn < partners.size())
            result.push_back(theirs[partners[turn]]);
    }
    for (std::size_t i = 0; i < theirs.size(); ++i)
        if (turnOf(theirs, i) >= positions(mine, theirs[i].name).size()) result.push_back(theirs[i]);
    return result;
}

std::wstring displayed(const PropertyBag& bag) {
    return bag.flattenForDisplay().str();
}

Model modelOf(const PropertyBag& bag) {
    Model model{{}, bag.getErrorText().str()};
    EXPECT_EQ(bag.getError() == 0, model.error.empty());
    for (std::size_t i = 0; i < bag.size(); ++i)
        model.push_back(
            {bag.getName(i).str(), bag.isBag(i) ? displayed(bag.getBag(i)) : bag.get(i).str(), bag.isBag(i)});
    return model;
}

void put(PropertyBag& bag, const ModelEntry& entry, bool sets) {
    if (!entry.isBag) return sets ? bag.set(entry.name, entry.value) : bag.add(entry.name, entry.value);
    PropertyBag nested;
    nested.add(L"v", entry.value.substr(2));
    const bool copies = entry.value.size() % 2 == 0;
    sets ? bag.setBag(entry.name, nested, copies) : bag.addBag(entry.name, nested, copies);
    EXPECT_EQ(nested.empty(), !copies);
}

void expectFound(const PropertyBag& bag, const Model& model, const std::wstring& name) {
    const auto all = positions(model, name);
    ASSERT_EQ(bag.contains(name), !all.empty());
    ASSERT_EQ(bag.isBag(name), !all.empty() && model[all[0]].isBag);
    std::vector<std::size_t> found;
    wstr value;
    std::size_t at = 0;
    while (bag.getNext(name, value, at)) found.push_back(at - 1);
    ASSERT_EQ(found, all);
    at = model.size() + 1;
    ASSERT_FALSE(bag.getNext(name, value, at));
}

struct Dice {
    std::mt19937 engine;
    bool beyondAscii = false;  // are there such names?

    std::size_t below(std::size_t n) { return static_cast<std::size_t>(engine()) % n; }
    std::wstring name() {
        static constexpr const wchar_t* stems[] = {
            L"dn", L"DN", L"machine-name", L"Machine-Name", L"\u00E4nderung", L"\u00C4NDERUNG"};
        const std::wstring stem = stems[below(beyondAscii ? 6 : 4)];
        return below(3) == 0 ? stem : stem + std::to_wstring(below(30));
    }
    ModelEntry entry() {
        const std::wstring value(below(4) == 0 ? below(300) : below(12), L"ab\u20AC"[below(3)]);
        const bool isBag = below(8) == 0;
        return {name(), isBag ? L"v=" + value : value, isBag};
    }
};

// What is put in, merged or assigned lies in the bag itself.
void changeByItself(PropertyBag& bag, Model& model, Dice& dice) {
    const std::size_t at = dice.below(bag.size() + 1), kind = dice.below(10);
    const bool sets = dice.below(2) == 0;
    PropertyBag& itself = bag;
    if (kind == 0) {
        bag &= itself;
        bag &= std::move(itself);
        bag = itself;
    } else if (kind == 1) {
        model = merged(model, modelOf(bag.getBag(at)));
        bag &= bag.getBag(at);
    } else {
        ModelEntry entry{dice.name(), {}, kind < 6};
        if (entry.isBag) {
            const PropertyBag& own = kind < 4 && displayed(bag).size() < 4000 ? bag : bag.getBag(at);
            entry.value = displayed(own);
            sets ? bag.setBag(entry.name, own) : bag.addBag(entry.name, own);
        } else {
            const std::string_view own = kind < 8 ? bag.utf8(at) : bag.nameUtf8(at);
            entry.value = CORE::toWide(own);
            sets ? bag.set(entry.name, own) : bag.add(entry.name, own);
        }
        sets ? void(model = merged(model, Model{{entry}})) : model.push_back(entry);
    }
}

void change(PropertyBag& bag, Model& model, Dice& dice) {
    const std::size_t kind = dice.below(14);
    if (kind < 2) {
        const ModelEntry entry = dice.entry();
        put(bag, entry, true);
        model = merged(model, Model{{entry}});
    } else if (kind < 4) {
        Model other{std::vector<ModelEntry>(dice.below(dice.below(6) == 0 ? 60 : 8))};
        PropertyBag source;
        for (ModelEntry& each : other) put(source, each = dice.entry(), false);
        if (dice.below(4) == 0) source.setError(other.error = L"theirs");
        model = merged(model, other);
        if (dice.below(2) == 0) {
            bag &= source;
        } else {
            bag &= std::move(source);
            EXPECT_EQ(modelOf(source), Model());
            source.add(L"again", L"usable");
            EXPECT_EQ(displayed(source), L"again=usable");
        }
    } else if (kind == 4) {
        bag = dice.below(2) == 0 ? PropertyBag(bag) : PropertyBag(std::move(bag));
    } else if (kind == 5 && model.size() >= 120) {
        bag.clear();
        model = {};
        dice.beyondAscii = !dice.beyondAscii;
    } else if (kind == 6) {
        const int code = static_cast<int>(dice.below(3)) - 1;
        bag.setError(code, L"own");
        model.error = code != 0 ? L"own" : L"";
    } else if (kind == 7) {
        changeByItself(bag, model, dice);
    } else {
        put(bag, model.emplace_back(dice.entry()), false);
    }
}

TEST(PropertyBagModel, EveryOperationAgrees) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        Dice dice{std::mt19937(seed)};
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
    for (int i = 0; i < many; ++i) bag.add(i % 2 == 0 ? L"entry" : L"ENTRY", std::to_wstring(i));
    bag.add(L"after", L"");
    PropertyBag copy = bag;
    copy &= bag;
    wstr value;
    int seen = 0;
    for (std::size_t at = 0; copy.getNext(L"Entry", value, at); ++seen)
        ASSERT_EQ(value.str(), std::to_wstring(seen));
    EXPECT_EQ(seen, many);
    copy.set(L"entry", L"only");
    EXPECT_EQ(copy.flattenForDisplay(), L"entry=only, after=");
}

}  // namespace
