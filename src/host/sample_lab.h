// Where the sample lab stands.
#pragma once

#include <string>

namespace hdqadmin {

// The folder "labs/sample" of the nearest folder around the executable that has one, else where it stood when
// the tool was built. UTF-8.
std::string sampleLab(const std::string& executableFolder);

}  // namespace hdqadmin
