// What a lab's machine.toml and a configuration file say alike of the machine and of the start-up.
#pragma once

#include "framework/core/property_bag.h"
#include "platform/installation.h"
#include "platform/startup.h"
#include "platform/text/guid.h"
#include "platform/text/toml_section.h"

namespace wsadmin::platform {

// "role", "os-level", "administrator" and "ipv6".
inline void readInstallation(TomlSection& section, Installation& installation) {
    tomlChoice<std::uint32_t>(section, "role", installation.role,
                              {{"connection-server", CORE::InstType::connectionServer},
                               {"security-server", CORE::InstType::securityServer},
                               {"none", 0}});
    section.number("os-level", installation.osLevel, CORE::coreosver::oldest, CORE::coreosver::newest);
    section.flag("administrator", installation.administrator);
    section.flag("ipv6", installation.ipv6);
}

// "first-guid"
inline void readFirstGuid(TomlSection& section, GivenProcess& process) {
    section.text("first-guid", process.firstGuid);
    if (!process.firstGuid.empty() && !isGuid(process.firstGuid))
        section.wrong("first-guid", "first-guid is a GUID such as 00000000-0000-4000-8000-000000000001");
}

// [environment]: the names are the file's own, so this table has no list of known ones.
inline void readEnvironment(TomlSection& top, GivenProcess& process) {
    const auto* node = top.find("environment");
    if (!node) return;
    if (!node->is_table()) throw TomlMistake{tomlLine(*node), "environment is a table, [environment]"};
    for (const auto& [name, value] : *node->as_table()) {
        if (!value.is_string()) throw TomlMistake{tomlLine(value), "a variable's value is a text in quotes"};
        process.environment[CORE::toWide(name.str())] = CORE::toWide(value.as_string()->get());
    }
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
