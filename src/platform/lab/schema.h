// What a directory knows of attributes and classes. A name that the schema does not list becomes a
// multi-valued text attribute as soon as an entry holds it. Not thread safe: reading is, while nothing is
// added.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/lab/syntax.h"
#include "platform/result.h"

namespace wsadmin::platform::lab {

using AttributeId = std::uint32_t;

struct AttributeType {
    std::string name;
    Syntax syntax = Syntax::text;
    bool single = false;
    int link = 0;  // AD's linkID: even for a forward link, odd for the back link that the directory keeps
    bool declared = false;  // listed by a schema; otherwise only met in an entry
    bool hidden = false;    // can be written but is never shown (passwords)

    bool forwardLink() const noexcept { return link != 0 && link % 2 == 0; }
    bool backLink() const noexcept { return link % 2 != 0; }
};

struct ObjectClass {
    std::string name;
    std::string superior;
    bool auxiliary = false;
};

// Attributes that the directory itself keeps, makes or looks at; their ids are the first of every schema, in
// this order.
enum KnownAttribute : AttributeId {
    attrObjectClass,
    attrDistinguishedName,
    attrName,
    attrObjectGuid,
    attrWhenCreated,
    attrWhenChanged,
    attrUsnCreated,
    attrUsnChanged,
    attrIsDeleted,
    attrLastKnownParent,
    attrObjectSid,
    attrMember,
    attrCurrentTime,
    attrHighestUsn,  // of the root entry
    attrTokenGroups,
    attrAccountControlComputed,
    attrUserAccountControl,
    attrPrimaryGroupId,
    attrGroupType,
    attrPwdLastSet,
    attrLockoutTime,
    attrLockoutDuration,
    attrSamAccountName,
    attrUserPrincipalName,
    attrUnicodePwd,
};

class Schema {
  public:
    Schema();  // what every directory has: the built-in list

    // Reads a schema file, a line each: "attribute NAME SYNTAX single|multi [link N|hidden]", "class NAME
    // SUPERIOR", "auxiliary NAME SUPERIOR"; "#" begins a comment. The failure's text is "file:line: what is
    // wrong".
    Result<void> read(std::string_view text, std::string_view file);

    std::optional<AttributeId> find(std::string_view name) const;
    AttributeId intern(std::string_view name);  // adds an undeclared one
    const AttributeType& attribute(AttributeId id) const { return attributes_[id]; }
    std::size_t attributeCount() const noexcept { return attributes_.size(); }
    // The forward link of a back link.
    std::optional<AttributeId> forwardOf(AttributeId backLink) const;

    const std::vector<ObjectClass>& classes() const noexcept { return classes_; }
    bool auxiliary(std::string_view className) const;
    // The classes with all their superiors, from "top" down, in the schema's spelling; unknown ones stand
    // below top.
    std::vector<std::string> withSuperiors(const std::vector<std::string>& names) const;
    // The same list without those that others imply.
    std::vector<std::string> withoutSuperiors(const std::vector<std::string>& names) const;

  private:
    const ObjectClass* findClass(std::string_view name) const;
    std::optional<std::wstring> readLine(const std::vector<std::string_view>& words);
    std::optional<std::wstring> readAttribute(const std::vector<std::string_view>& words);

    std::deque<AttributeType> attributes_;
    std::unordered_map<std::string, AttributeId> byName_;  // folded
    std::vector<ObjectClass> classes_;
    std::unordered_map<std::string, std::size_t> classByName_;
};

extern const char* const builtInSchema;

}  // namespace wsadmin::platform::lab
