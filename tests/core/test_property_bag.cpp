// Bags: what set, add and merge do to entries is compared with a model of them; the rest is told by itself.
#include "framework/core/bag_display.h"
#include "framework/core/property_bag.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <utility>

#include "framework/core/coreexception.h"

using namespace std::string_view_literals;
using CORE::coreException;
using CORE::PropertyBag;
using CORE::wstr;

namespace {

std::wstring shown(const PropertyBag& bag) {
    return bag.flattenForDisplay(L" ").str();
}

PropertyBag bagOf(std::initializer_list<std::pair<std::wstring_view, std::wstring_view>> entries) {
    PropertyBag bag;
    for (const auto& [name, value] : entries) bag.add(name, value);
    return bag;
}

TEST(PropertyBag, AnswersWithTheFallbackPastItsEnd) {
    PropertyBag bag = bagOf({{L"text", L"x"}});
    bag.setInt(L"set", -7);
    bag.setBool(L"flag", true);
    bag.addBool(L"flag", false);
    EXPECT_EQ(shown(bag), L"text=x set=-7 flag=true flag=false");
    for (const PropertyBag& each : {bag, PropertyBag()}) {
        std::size_t position = 0;
        EXPECT_EQ(each.get(9).str() + each.getName(9).str(), L"");
        EXPECT_TRUE(each.getBag(L"c").empty() && each.getBag(9).empty());
        EXPECT_EQ(each.getNextBag(L"text", position), nullptr);
    }
}

TEST(PropertyBag, LosesNoCharacterAndNoByte) {
    std::vector<std::wstring> texts = {L"\u00E9\u20AC\uFFFD",
                                       L"\U0001F600",
                                       std::wstring(1, L'\0') + L"x",
                                       {L'a', wchar_t(0xD800), L'b'},
                                       {wchar_t(0xDC00), wchar_t(0xD800)},
                                       {wchar_t(0xFFFF)}};
    if constexpr (sizeof(wchar_t) == 4)
        texts.push_back(
            {wchar_t(0x110000), wchar_t(0x7FFFFFFF), wchar_t(-1), wchar_t(0xD83D), wchar_t(0xDE00)});
    for (const std::wstring& text : texts) {
        PropertyBag bag;
        bag.add(text, text);
        bag.setError(5, text);
        EXPECT_EQ(bag.getName(0).str(), text);
        EXPECT_EQ(bag.get(text).str(), text);
        EXPECT_EQ(bag.getErrorText().str(), text);
    }
    PropertyBag raw;
    raw.addUtf8("a\xFFz", "\x80");
    EXPECT_EQ(raw.nameUtf8(0), "a\xFFz");
    EXPECT_EQ(raw.utf8(0), "\x80");
    EXPECT_EQ(raw.get(L"a\uFFFDz"), L"\uFFFD"sv);
}

TEST(PropertyBag, WalksItsBagsAndTakesItselfOver) {
    PropertyBag list;
    list.attach(bagOf({{L"dn", L"cn=1"}}), L"e");
    list.add(L"e", L"text");
    list.addBagUtf8("e", PropertyBag());
    std::vector<std::size_t> bags;
    for (std::size_t position = 0; list.getNextBag(L"e", position) != nullptr;) bags.push_back(position - 1);
    EXPECT_EQ(bags, (std::vector<std::size_t>{0, 2}));
    const auto props = list.props();
    ASSERT_EQ(props.size(), 3u);
    EXPECT_TRUE(props[1].value == "text" && !props[1].bag && props[0].bag == &list.getBag(0));
    EXPECT_TRUE(list.getBag(1).empty());
    list.setError(-2, L"no");
    list.addBag(L"all", list, false);
    EXPECT_EQ(shown(list), L"all={error -2: no e={dn=cn=1} e=text e={}}");
    list = list.getBag(L"all");
    EXPECT_EQ(shown(list), L"e={dn=cn=1} e=text e={}");
    EXPECT_EQ(list.getError(), -2);
}

TEST(PropertyBag, ShowsItselfOnOneLineWithoutSecrets) {
    EXPECT_EQ(shown(bagOf({{L"digest", L"s3"}})), L"digest=s3");
    CORE::maskInDisplay({L"Digest"});
    PropertyBag bag = bagOf({{L"a", L"1\r\n2\t\x01\x7F\u00E9"}, {L"digest", L"s3"}}), failed;
    bag.addBag(L"credentials", bagOf({{L"user", L"u"}}));
    failed.setError(7, L"one\ntwo");
    bag.addBag(L"empty", failed);
    failed.add(L"secret", L"s");
    bag.addBag(L"list", failed);
    EXPECT_EQ(bag.flattenForDisplay(),
              L"a=1\\r\\n2\\t\\x01\\x7f\u00E9, digest=*****, credentials=*****, "
              L"empty={error 7: one\\ntwo}, list={error 7: one\\ntwo, secret=*****}"sv);
    EXPECT_EQ(bagOf({{L"a", L"1"}, {L"b", L""}}).flattenForDisplay(L"\u00B7"), L"a=1\u00B7b="sv);
}

TEST(PropertyBag, HasLimitsThatChangeNothing) {
    // Never read: the length alone is refused.
    const std::string_view tooMuch("x", std::size_t{1} << 32);
    PropertyBag deep = bagOf({{L"a", L"1"}});
    for (int i = 0; i < 200; ++i) deep.addBag(L"n", deep, false);
    PropertyBag bag = bagOf({{L"a", L"1"}});
    bag.setError(2, L"bad");
    const std::wstring deepBefore = shown(deep);
    EXPECT_THROW(bag.add(L"n", tooMuch), coreException);
    EXPECT_THROW(bag.set(L"a", tooMuch), coreException);
    EXPECT_THROW(bag.add(std::wstring(65536, L'n'), L"v"), coreException);
    EXPECT_THROW(bag.addUtf8(std::string(65536, 'n'), "v"), coreException);
    EXPECT_THROW(bag.addBag(L"n", deep), coreException);
    EXPECT_THROW(bag.setBag(L"a", std::move(deep)), coreException);
    EXPECT_THROW(deep.addBag(L"n", deep, false), coreException);
    EXPECT_EQ(shown(bag), L"a=1");
    EXPECT_EQ(bag.getErrorText(), L"bad"sv);
    EXPECT_EQ(shown(deep), deepBefore);
    bag.add(std::wstring(65535, L'n'), L"v");
    EXPECT_EQ(bag.get(std::wstring(65535, L'N')), L"v"sv);
    EXPECT_FALSE(bag.contains(std::wstring(65536, L'n')));
    EXPECT_FALSE(bag.contains(std::wstring(65537, L'a')));
}

TEST(PropertyBag, MayBeReadByManyThreads) {
    PropertyBag filled;
    for (int i = 0; i < 200; ++i) filled.addBag(i % 2 ? L"\u00FCber" : L"even", bagOf({{L"z", L"2"}}));
    const PropertyBag& bag = filled;
    std::atomic<std::size_t> found = 0;
    std::vector<std::jthread> readers;
    for (int t = 0; t < 4; ++t)
        readers.emplace_back([&] {
            for (const wchar_t* name : {L"EVEN", L"\u00DCBER"})
                for (std::size_t at = 0; bag.getNextBag(name, at) != nullptr;) ++found;
            found += PropertyBag(bag).size();
        });
    readers.clear();
    EXPECT_EQ(found, 4U * (200 + 200));
}

TEST(PropertyBag, LoadsARegistryKeyOrSaysThatThereIsNone) {
    PropertyBag bag = bagOf({{L"a", L"1"}});
    EXPECT_FALSE(bag.loadFromRegistry(L"HKLM\\Software\\No such vendor\\No such product"));
    EXPECT_EQ(shown(bag), L"a=1");
#if defined(_WIN32)
    EXPECT_TRUE(bag.loadFromRegistry(L"HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion"));
    EXPECT_NE(bag.get(L"CurrentVersion"), L""sv);
#endif
}

// Bags against a plain model of them, over long random (but always the same) sequences, and with 100,000
// entries.
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
        const auto all = positions(model, model[i].name);
        return static_cast<std::size_t>(std::ranges::find(all, i) - all.begin());
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

Model modelOf(const PropertyBag& bag) {
    Model model{{}, bag.getErrorText().str()};
    EXPECT_EQ(bag.getError() == 0, model.error.empty());
    for (std::size_t i = 0; i < bag.size(); ++i)
        model.push_back(
            {bag.getName(i).str(), bag.isBag(i) ? shown(bag.getBag(i)) : bag.get(i).str(), bag.isBag(i)});
    return model;
}

void put(PropertyBag& bag, Model& model, const ModelEntry& entry, bool sets) {
    sets ? void(model = merged(model, Model{{entry}})) : model.push_back(entry);
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
            const PropertyBag& own = kind < 4 && shown(bag).size() < 4000 ? bag : bag.getBag(at);
            entry.value = shown(own);
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
    if (kind == 2 || kind == 3) {
        Model other;
        PropertyBag source;
        for (std::size_t n = dice.below(dice.below(6) == 0 ? 60 : 8); n > 0; --n)
            put(source, other, dice.entry(), false);
        if (dice.below(4) == 0) source.setError(other.error = L"theirs");
        model = merged(model, other);
        if (dice.below(2) == 0) {
            bag &= source;
        } else {
            bag &= std::move(source);
            EXPECT_EQ(modelOf(source), Model());
            source.add(L"again", L"usable");
            EXPECT_EQ(shown(source), L"again=usable");
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
        put(bag, model, dice.entry(), kind < 2);
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
