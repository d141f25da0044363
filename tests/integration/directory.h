// The pods that the tools work on, and what stands in their directories afterwards as others than the tools
// see it.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace integration {

enum class Place { server, lab };

inline void PrintTo(Place place, std::ostream* out) {
    *out << (place == Place::server ? "server" : "lab");
}

class Pod {
  public:
    virtual ~Pod() = default;
    // The tool's options that choose this pod.
    virtual std::vector<std::string> options() const = 0;
    // The values of an attribute, in the directory's order. Throws when there is no such entry.
    virtual std::vector<std::string> values(const std::string& dn, const std::string& attribute) const = 0;
};

// The server of with-pod or with-slapd, read with OpenLDAP's own tools. What the cases change is put back at
// first.
class ServerPod : public Pod {
  public:
    ServerPod();
    std::vector<std::string> options() const override;
    std::vector<std::string> values(const std::string& dn, const std::string& attribute) const override;
};

// A lab of its own with the same entries, saved after each request and read from its files.
class LabPod : public Pod {
  public:
    explicit LabPod(bool withPrincipals = true);
    std::vector<std::string> options() const override;
    std::vector<std::string> values(const std::string& dn, const std::string& attribute) const override;

  private:
    wstest::TempFolder folder_;
};

std::unique_ptr<Pod> makePod(Place place);

// What one of OpenLDAP's programs says that is run on the server of with-pod, or of with-corp. Throws when it
// fails.
std::string onPod(const std::string& program, const std::vector<std::string>& arguments);
std::string onCorp(const std::string& program, const std::vector<std::string>& arguments);

// A SID as text, from its bytes.
std::string sidText(const std::string& bytes);

// What the server of with-corp says: the values of an attribute.
std::vector<std::string> corpValues(const std::string& dn, const std::string& attribute);

}  // namespace integration
