#include "machines/report.h"

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
    std::string user, desktop;  // what they are ordered by
    const Finding* finding;
};

class Layout {
  public:
    Layout(bool byUser, const ReportWriter& writer) : byUser_(byUser), writer_(writer) {}

    PropertyBag write(const std::vector<Row>& rows) {
        PropertyBag outerList;
        for (auto at = rows.begin(); at != rows.end() && !failed();) {
            const auto end = endOf(at, rows.end(), outerKey(*at));
            outerList.addBag(outer().entry, writeOuter(at, end));
            at = end;
        }
        PropertyBag report, whole;
        report.addBag(byUser_ ? L"byuser-list" : L"bydesktop-list", std::move(outerList));
        whole.addBag(writer_.report, std::move(report));
        if (failed()) return error_;
        return whole;
    }

  private:
    using At = std::vector<Row>::const_iterator;

    const Level& outer() const { return byUser_ ? userLevel : desktopLevel; }
    const Level& inner() const { return byUser_ ? desktopLevel : userLevel; }
    const std::string& outerKey(const Row& row) const { return byUser_ ? row.user : row.desktop; }
    const std::string& innerKey(const Row& row) const { return byUser_ ? row.desktop : row.user; }
    bool failed() const { return error_.getError() != 0; }

    At endOf(At at, At end, const std::string& key) const {
        return std::find_if(at, end, [&](const Row& row) { return outerKey(row) != key; });
    }

    PropertyBag checked(PropertyBag part) {
        if (part.getError() && !failed()) error_.setError(part.getError(), part.getErrorText());
        return part;
    }

    PropertyBag thing(const Level& level, const Row& row) {
        const bool isUser = &level == &userLevel;
        logDebug(level.line, isUser ? row.user : row.desktop);
        return checked(isUser ? writer_.user(row.finding->user) : writer_.desktop(row.finding->desktop));
    }

    PropertyBag writeOuter(At at, At end) {
        PropertyBag entry, innerList;
        entry.addBag(outer().thing, thing(outer(), *at));
        while (at != end && !failed()) {
            const std::string& key = innerKey(*at);
            PropertyBag innerEntry, items;
            innerEntry.addBag(inner().thing, thing(inner(), *at));
            for (; at != end && innerKey(*at) == key && !failed(); ++at)
                items.addBag(writer_.item, checked(writer_.render(at->finding->item)));
            innerEntry.addBag(writer_.itemList, std::move(items));
            innerList.addBag(inner().entry, std::move(innerEntry));
        }
        entry.addBag(inner().list, std::move(innerList));
        return entry;
    }

    bool byUser_;
    const ReportWriter& writer_;
    PropertyBag error_;
};

}  // namespace

PropertyBag writeReport(const std::vector<Finding>& findings, bool byUser, const ReportWriter& writer) {
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
