// Settings and configuration of the main daemon.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/server_settings.h"
#include "detail.h"

namespace zrp::client {

struct Setting {
    std::string name;
    std::string value; // empty when the server's list has names alone
};

namespace detail {

inline constexpr List kSettings = {tag::set, tag::name};

struct SettingItem {
    SettingText name;
    SettingText value;
};

// Null for both asks for the list, a null value for the value.
inline auto SettingRequest(const char* name, const char* value) {
    return [=](uint32_t* length) {
        return BuildSetRequest(length, kSetVersion, kSetAttributes, name, value);
    };
}

inline Answer<std::string> AskForSetting(const char* name, const char* value) {
    return Ask<std::string>(SettingRequest(name, value),
                            [](char* reply, int length, std::string* found) {
                                int offset = 0;
                                SettingText text = "";
                                const int rc = ScanSetReply(reply, length, &offset, nullptr, &text);
                                *found = text;
                                return rc;
                            });
}

} // namespace detail

inline Answer<std::vector<Setting>> ListSettings() {
    return detail::ListItems<Setting, detail::SettingItem>(
        detail::kSettings, detail::SettingRequest(nullptr, nullptr),
        [](char* reply, int length, int* offset, detail::SettingItem* item) {
            return ScanSetReply(reply, length, offset, &item->name, &item->value);
        },
        [](const detail::SettingItem& item) {
            return Setting{item.name, item.value};
        });
}

inline Answer<std::string> GetSetting(std::string_view name) {
    return detail::AskForSetting(detail::Text(name), nullptr);
}

// Gives the value that the server has now. An empty value is refused with kInvalid: the server
// would take the request for a question.
inline Answer<std::string> SetSetting(std::string_view name, std::string_view value) {
    return value.empty() ? detail::Failure<std::string>(kInvalid)
                         : detail::AskForSetting(detail::Text(name), detail::Text(value));
}

// What is not sent by every server is 0 without it.
inline Answer<ServerConfig> GetServerConfig() {
    return detail::RunForRecord<ServerConfig>(zrp::GetServerConfig);
}

// Changes the setting that is named as the element of a reply; gives all as they are now.
inline Answer<ServerConfig> SetServerConfig(std::string_view name, std::string_view value) {
    return detail::RunForRecord<ServerConfig>(zrp::SetServerConfig, detail::Text(name),
                                              detail::Text(value));
}

} // namespace zrp::client
