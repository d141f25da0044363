// What a lab's machine.toml and a configuration file say alike of the machine and of the start-up.
#pragma once

#include "framework/core/property_bag.h"
#include "platform/installation.h"
#include "platform/startup.h"
#include "platform/text/toml_section.h"

namespace wsadmin::platform {

// "role" and "os-level".
inline void readInstallation(TomlSection& section, Installation& installation) {
    tomlChoice<std::uint32_t>(section, "role", installation.role,
                              {{"connection-server", CORE::InstType::connectionServer},
                               {"security-server", CORE::InstType::securityServer},
                               {"none", 0}});
    section.number("os-level", installation.osLevel, CORE::coreosver::oldest, CORE::coreosver::newest);
}

// [startup]
inline void readStartup(TomlSection& top, CORE::PropertyBag& bag) {
    top.table("startup", [&](TomlSection& section) {
        for (const auto& [name, type] : startup::parameters) {
            const std::string key = CORE::toUtf8(name);
            if (!section.find(key)) continue;
            bool flag = false;
            int number = 0;
            std::wstring text;
            switch (type) {
                case startup::Type::flag:
                    section.flag(key, flag);
                    bag.setBool(name, flag);
                    break;
                case startup::Type::integer:
                    section.number(key, number, INT32_MIN, INT32_MAX);
                    bag.setInt(name, number);
                    break;
                case startup::Type::text:
                    section.text(key, text);
                    bag.set(name, std::wstring_view(text));
                    break;
            }
        }
    });
}

}  // namespace wsadmin::platform
