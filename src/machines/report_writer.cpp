#include "machines/report_writer.h"

#include <algorithm>
#include <utility>

#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;

namespace {

// One side of a layout, as the keys name it.
struct Level {
    const wchar_t* entry;
    const wchar_t* thing;
    const wchar_t* list;
    const wchar_t* line;  // of the log
};
constexpr Level userLevel{L"user-entry", L"user", L"user-list", L"Checking user=%s"};
constexpr Level desktopLevel{L"desktop-entry", L"desktop", L"desktop-list", L"Checking desktop=%s"};

struct Row {
    std::string user, desktop;  // the sort keys
    const Finding* finding;
};

class Layout {
  public:
    Layout(bool byUser, const ReportWriter& writer) : byUser_(byUser), writer_(writer) {}

    Result<PropertyBag> write(const std::vector<Row>& rows) const {
        PropertyBag outerList;
        for (auto at = rows.begin(); at != rows.end();) {
            const std::string& key = outerKey(*at);
            const auto end =
                std::find_if(at, rows.end(), [&](const Row& row) { return outerKey(row) != key; });
            auto entry = writeOuter(at, end);
            if (!entry) return entry;
            outerList.addBag(outer().entry, std::move(*entry));
            at = end;
        }
        PropertyBag report, whole;
        report.addBag(byUser_ ? L"byuser-list" : L"bydesktop-list", std::move(outerList));
        whole.addBag(writer_.keys.report, std::move(report));
        return whole;
    }

  private:
    using At = std::vector<Row>::const_iterator;

    const Level& outer() const { return byUser_ ? userLevel : desktopLevel; }
    const Level& inner() const { return byUser_ ? desktopLevel : userLevel; }
    const std::string& outerKey(const Row& row) const { return byUser_ ? row.user : row.desktop; }
    const std::string& innerKey(const Row& row) const { return byUser_ ? row.desktop : row.user; }

    Result<PropertyBag> describe(const Level& level, const Row& row) const {
        const bool isUser = &level == &userLevel;
        logDebug(level.line, isUser ? row.user : row.desktop);
        if (isUser) return writer_.user(row.finding->user);
        return writer_.desktop(row.finding->desktop);
    }

    // The rows of one outer key, of which there is at least one.
    Result<PropertyBag> writeOuter(At at, At end) const {
        auto outerThing = describe(outer(), *at);
        if (!outerThing) return outerThing;
        PropertyBag entry, innerList;
        entry.addBag(outer().thing, std::move(*outerThing));
        while (at != end) {
            const std::string& key = innerKey(*at);
            auto innerThing = describe(inner(), *at);
            if (!innerThing) return innerThing;
            PropertyBag innerEntry, items;
            innerEntry.addBag(inner().thing, std::move(*innerThing));
            for (; at != end && innerKey(*at) == key; ++at) {
                auto item = writer_.item(at->finding->item);
                if (!item) return item;
                items.addBag(writer_.keys.item, std::move(*item));
            }
            innerEntry.addBag(writer_.keys.itemList, std::move(items));
            innerList.addBag(inner().entry, std::move(innerEntry));
        }
        entry.addBag(inner().list, std::move(innerList));
        return entry;
    }

    bool byUser_;
    const ReportWriter& writer_;
};

}  // namespace

Result<PropertyBag> writeReport(const std::vector<Finding>& findings, bool byUser,
                                const ReportWriter& writer) {
    std::vector<Row> rows;
    rows.reserve(findings.size());
    for (const Finding& finding : findings) rows.push_back({finding.user.text(), finding.desktop, &finding});
    std::ranges::stable_sort(rows, [byUser](const Row& a, const Row& b) {
        return byUser ? std::tie(a.user, a.desktop) < std::tie(b.user, b.desktop)
                      : std::tie(a.desktop, a.user) < std::tie(b.desktop, b.user);
    });
    return Layout(byUser, writer).write(rows);
}

}  // namespace wsadmin
