// What a directory answers to LDAP, as rows of files. A row {"begin": what} begins a block with a directory,
// or a place in one, of its own; each row after it is one operation and what comes out of it ("is"):
//   {"add": DN, "with": {ATTRIBUTE: values}}, {"delete": DN, "tree": true},
//   {"modify": DN, "changes": [["add", "remove" or "replace", ATTRIBUTE, values...]]},
//   {"rename": DN, "to": RDN, "parent": DN, "keepOld": true}, {"bind": {"user", "password", "domain",
//   "method"}}
//                        the text of the result code
//   {"find": FILTER, "base": DN, "scope": "base"}
//                        the names that are found, sorted; "show" gives "dn", an attribute or the "count"
//                        instead. With "page" it is one page of so many: "next" names where the one after it
//                        begins (without it there is none), which "after" takes; "show" gives the server's
//                        "estimate", too, or how many entries all pages up to this one have ("seen")
//   {"read": DN, "of": ATTRIBUTE} or {"read": DN, "asking": [ATTRIBUTE]}
//                        its values, or those of all that are answered ("show" gives their "count"); "keep"
//                        gives the first one a name instead, and "inOrder" leaves them in the server's order
// Instead of "is", "has" is one of several texts, and "like" a pattern that one of them fits.
// "by" says who asks: a session of its own, from these credentials, "anonymous" or "unbound", or by an
// endpoint as the program knows it. "control" is [OID, whether it is critical], "value" its bytes in
// hexadecimal. SIDs and GUIDs stand as text.
#pragma once

#include <fstream>
#include <regex>
#include <set>

#include "platform/lab/syntax.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"
#include "support/rows.h"

namespace wstest {

struct LdapBlock {
    Json head;
    std::vector<std::string> rows;
};

inline std::vector<LdapBlock> ldapBlocks(const std::string& file) {
    std::vector<LdapBlock> blocks;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("{\"begin\""))
            blocks.push_back({readJson(line), {}});
        else if (!line.empty() && !line.starts_with('#'))
            blocks.at(blocks.size() - 1).rows.push_back(line);
    }
    EXPECT_FALSE(blocks.empty()) << file;
    return blocks;
}

class LdapRows {
  public:
    using Session = std::unique_ptr<wsadmin::platform::LdapSession>;
    using Open = std::function<Session(const Json& by)>;  // not bound
    using Other = std::function<Json(const Json& row)>;   // does what is no LDAP
    using Credentials = wsadmin::platform::LdapCredentials;

    // `names` are those that rows have in place of texts; `base` is where they search.
    LdapRows(Open open, Credentials own, std::string base, std::map<std::string, std::string> names = {},
             Other other = {})
        : open_(std::move(open)),
          own_(std::move(own)),
          base_(std::move(base)),
          names_(std::move(names)),
          other_(std::move(other)) {}

    // The answers are those of a kind of directory where a row has them under its name, which "only" may say,
    // too.
    void tryAll(const LdapBlock& block, const std::string& kind = {}) {
        for (std::string line : block.rows) {
            for (const auto& [name, text] : names_)
                for (std::size_t at = 0; (at = line.find(name)) != line.npos;)
                    line.replace(at, name.size(), text);
            const Json row = readJson(line);
            if (row.value("only", kind) != kind) continue;
            const Json found = outcome(row);
            if (row.contains("keep")) {
                names_[row["keep"].get<std::string>()] = found.at(0).get<std::string>();
                continue;
            }
            Json expected = row.value(row.contains(kind) ? kind : "is", Json());
            if (expected.is_array() && !row.contains("inOrder")) std::sort(expected.begin(), expected.end());
            const bool fits = row.contains("like")  ? anyLike(found, row["like"])
                              : row.contains("has") ? hasPart(found, row["has"]) || isAmong(found, row["has"])
                                                    : found == expected;
            EXPECT_TRUE(fits) << block.head["begin"] << ": " << line << "\n  gives " << shownJson(found);
        }
    }

  private:
    using Texts = std::vector<std::string>;
    static constexpr const char* operations[] = {"add", "delete", "modify", "rename", "bind", "find", "read"};

    static bool isAmong(const Json& found, const Json& text) {
        return found.is_array() && std::ranges::find(found, text) != found.end();
    }
    static bool anyLike(const Json& found, const std::string& pattern) {
        return found.is_array() && std::ranges::any_of(found, [&](const Json& text) {
                   return std::regex_match(text.get<std::string>(), std::regex(pattern));
               });
    }
    static std::string codeText(int code) { return CORE::toUtf8(wsadmin::platform::ldapErrorText(code)); }
    template <class T>
    static Json codeText(const T& done) {
        return codeText(done ? 0 : done.error().code);
    }
    static bool isSid(std::string_view attribute) {
        return attribute == "objectSid" || attribute == "tokenGroups";
    }
    static Texts textsOf(const Json& value) {
        return value.is_array() ? value.get<Texts>() : Texts{value.get<std::string>()};
    }
    static Texts sent(std::string_view attribute, Texts values) {
        for (std::string& value : values)
            if (isSid(attribute)) value = wsadmin::platform::Sid::parse(value).value().bytes();
        return values;
    }
    static Json shown(std::string_view attribute, Texts values) {
        for (std::string& value : values) {
            if (isSid(attribute)) value = wsadmin::platform::Sid::fromBytes(value).value().text();
            if (attribute == "objectGUID") value = wsadmin::platform::lab::guidToText(value);
        }
        std::ranges::sort(values);
        return values;
    }
    static Credentials credentialsOf(const Json& from) {
        using Method = Credentials::Method;
        const std::string method = from.value("method", std::string());
        return {method == "anonymous" ? Method::anonymous
                : method == "simple"  ? Method::simple
                                      : Method::negotiate,
                from.value("user", std::string()), from.value("domain", std::string()),
                CORE::secretstring(from.value("password", std::string()))};
    }
    Session sessionBy(const Json& by) {
        Session session = open_(by);
        if (by.contains("unbound")) return session;
        EXPECT_TRUE(
            session->bind(by.contains("anonymous") ? credentialsOf({{"method", "anonymous"}}) : own_));
        return session;
    }
    static std::vector<wsadmin::platform::LdapControl> controlsOf(const Json& row) {
        namespace controls = wsadmin::platform::controls;
        std::vector<wsadmin::platform::LdapControl> given;
        if (row.contains("tree")) given.push_back({controls::treeDelete, {}, true});
        if (row.contains("deleted")) given.push_back({controls::showDeleted, {}, true});
        if (row.contains("control"))
            given.push_back({row["control"][0], bytesOfHex(row.value("value", "")), row["control"][1]});
        return given;
    }

    Json outcome(const Json& row) {
        if (other_ && std::ranges::none_of(operations, [&](const char* one) { return row.contains(one); })) {
            session_.reset();  // the directory may be another one afterwards
            return other_(row);
        }
        if (row.contains("bind")) return codeText(open_(row)->bind(credentialsOf(row["bind"])));
        const Session by = row.contains("by") ? sessionBy(row["by"]) : nullptr;
        if (!by && !session_) session_ = sessionBy(Json::object());
        auto& session = by ? *by : *session_;
        if (row.contains("add")) return add(session, row);
        if (row.contains("modify")) return modify(session, row);
        if (row.contains("delete")) return codeText(session.remove(row["delete"], controlsOf(row)));
        if (row.contains("rename"))
            return codeText(session.rename(row["rename"], row["to"], row.value("parent", std::string()),
                                           !row.contains("keepOld")));
        return row.contains("read") ? read(session, row) : find(session, row);
    }
    static Json add(wsadmin::platform::LdapSession& session, const Json& row) {
        wsadmin::platform::LdapEntry entry{row["add"], {}};
        for (const auto& [name, values] : row["with"].items())
            entry.attributes.push_back({name, sent(name, textsOf(values))});
        return codeText(session.add(entry));
    }
    static Json modify(wsadmin::platform::LdapSession& session, const Json& row) {
        using wsadmin::platform::LdapModify;
        static const std::map<std::string, LdapModify> kinds = {
            {"add", LdapModify::add}, {"remove", LdapModify::remove}, {"replace", LdapModify::replace}};
        std::vector<wsadmin::platform::LdapModification> changes;
        for (const Json& one : row["changes"]) {
            Texts values = one.get<Texts>();
            const std::string kind = values[0], attribute = values[1];
            values.erase(values.begin(), values.begin() + 2);
            changes.push_back({kinds.at(kind), attribute, sent(attribute, std::move(values))});
        }
        return codeText(session.modify(row["modify"], changes, controlsOf(row)));
    }
    Json find(wsadmin::platform::LdapSession& session, const Json& row) {
        using wsadmin::platform::LdapScope;
        const std::string scope = row.value("scope", std::string()), show = row.value("show", std::string());
        const bool paged = row.contains("page");
        const bool ofEntry = paged || show.empty() || show == "dn" || show == "count";
        auto controls = controlsOf(row);
        Pages pages = pages_[row.value("after", std::string())];
        if (paged)
            controls.push_back({wsadmin::platform::controls::pagedResults,
                                wsadmin::platform::encodePageControl({row["page"], pages.cookie}), true});
        const auto found = session.search({row.value("base", base_),
                                           scope == "base"  ? LdapScope::base
                                           : scope == "one" ? LdapScope::oneLevel
                                                            : LdapScope::subtree,
                                           row["find"],
                                           {ofEntry ? "1.1" : show},
                                           std::move(controls),
                                           row.value("sizeLimit", 0)});
        if (!found) return codeText(found);
        if (paged) {
            const auto left = wsadmin::platform::decodePageControl(found->controls.at(0).value).value();
            EXPECT_EQ(left.cookie.empty(), !row.contains("next")) << row;
            for (const auto& entry : found->entries) pages.seen.insert(entry.dn);
            pages.cookie = left.cookie;
            if (row.contains("next")) pages_[row["next"].get<std::string>()] = pages;
            if (show == "estimate") return left.size;
            if (show == "seen") return pages.seen.size();
        }
        if (show == "count") return found->entries.size();
        Texts texts;
        for (const auto& entry : found->entries)
            texts.push_back(show == "dn" ? entry.dn
                            : ofEntry    ? wsadmin::platform::rdnValue(entry.dn)
                                         : std::string(entry.first(show)));
        if (!row.contains("inOrder")) std::ranges::sort(texts);
        return texts;
    }
    static Json read(wsadmin::platform::LdapSession& session, const Json& row) {
        const std::string of = row.value("of", std::string());
        const auto found = session.search({row["read"], wsadmin::platform::LdapScope::base, "(objectClass=*)",
                                           row.contains("asking") ? row["asking"].get<Texts>() : Texts{of},
                                           controlsOf(row), 0});
        if (!found) return codeText(found);
        const auto& entry = found->entries.at(0);
        if (row.contains("inOrder")) return entry.all(of);
        if (!of.empty()) return shown(of, entry.all(of));
        Json all = Json::object();
        for (const auto& [name, values] : entry.attributes)
            all[name] = row.contains("show") ? Json(values.size()) : shown(name, values);
        return all;
    }

    Open open_;
    Credentials own_;
    std::string base_;
    std::map<std::string, std::string> names_;
    Other other_;
    Session session_;
    struct Pages {
        std::string cookie;
        std::set<std::string> seen;
    };
    std::map<std::string, Pages> pages_;
};

}  // namespace wstest
