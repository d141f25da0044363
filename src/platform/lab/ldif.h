// LDIF (RFC 2849), in and out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap_session.h"
#include "platform/result.h"

namespace wsadmin::platform::lab {

// One "name: value" of a file, with the line it began on.
struct LdifLine {
    std::string name;
    std::string value;  // decoded
    int line = 0;
};

struct LdifChange {
    LdapModification modification;
    int line = 0;
};

struct LdifRecord {
    enum class Kind { content, add, modify, remove, rename };
    Kind kind = Kind::content;
    std::string dn;
    int line = 0;
    std::vector<LdifLine> attributes;  // content, add
    std::vector<LdifChange> changes;   // modify
    bool wholeTree = false;            // remove: the tree-delete control is given
    std::string newRdn, newParent;     // rename; no new parent: empty
    bool deleteOldRdn = true;
};

// Reads a file record by record. Failures say "file:line: what is wrong".
class LdifReader {
  public:
    // Text and file name must live as long as the reader.
    LdifReader(std::string_view text, std::string_view file) : text_(text), file_(file) {}
    // The next record; false when there is none.
    Result<bool> next(LdifRecord& record);

  private:
    struct Wrong;  // thrown inside, never out
    bool readLogicalLine(LdifLine& line);
    std::string_view nextPhysical();
    LdifLine parse(std::string_view line, int number) const;
    void readRecord(std::vector<LdifLine>& lines);
    void interpret(std::vector<LdifLine>& lines, LdifRecord& record) const;
    void interpretModify(std::vector<LdifLine>& lines, std::size_t at, LdifRecord& record) const;
    void interpretRename(const std::vector<LdifLine>& lines, std::size_t at, LdifRecord& record) const;

    std::string_view text_;
    std::string_view file_;
    std::size_t at_ = 0;
    int number_ = 0;  // of the last physical line read
    bool begun_ = false;
};

// Writes "name: value", in base64 where RFC 2849 wants it, folded at 76 columns.
void writeLdifLine(std::string& out, std::string_view name, std::string_view value);

}  // namespace wsadmin::platform::lab
