#include "tests/support/text_drivers.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "common/config/config_lines.h"
#include "common/config/config_readers.h"
#include "common/config/config_removers.h"
#include "common/log/log_context.h"
#include "common/log/log_keywords.h"
#include "common/result.h"
#include "tests/support/require.h"

namespace zrp {
namespace {

// In memory where that is possible: a remover waits until its lines are on the disk.
std::filesystem::path new_folder() {
    for (const std::filesystem::path& parent :
         {std::filesystem::path("/dev/shm"), std::filesystem::temp_directory_path()}) {
        std::string name = parent / "zrp_driver_XXXXXX";
        if (mkdtemp(name.data()) != nullptr) {
            return name;
        }
    }
    REQUIRE(false);
    return {};
}

// A configuration file with any content, in a folder of its own.
class ConfigFileOf {
public:
    explicit ConfigFileOf(std::string_view content) : folder_(new_folder()) {
        std::ofstream(path(), std::ios::binary) << content;
    }
    ConfigFileOf(const ConfigFileOf&) = delete;
    ConfigFileOf& operator=(const ConfigFileOf&) = delete;
    ~ConfigFileOf() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    [[nodiscard]] std::string path() const {
        return folder_ / "test.conf";
    }

    [[nodiscard]] std::string content() const {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Whether nothing but the file is there.
    [[nodiscard]] bool is_alone() const {
        return std::distance(std::filesystem::directory_iterator(folder_), {}) == 1;
    }

private:
    std::filesystem::path folder_;
};

// Reads with room for nothing, then with the room that the first call returned.
template <typename Read>
void require_exact_size(Read read) {
    int size = 0;
    int rc = read(nullptr, &size);
    if (rc == kNoData) {
        return;
    }
    REQUIRE(rc == kBufferTooSmall);
    REQUIRE(size > 0 && static_cast<size_t>(size) <= kConfigLineSize);
    std::vector<char> value(static_cast<size_t>(size));
    rc = read(value.data(), &size);
    REQUIRE(rc == kOk && strlen(value.data()) + 1 == value.size());
    REQUIRE(strpbrk(value.data(), " \t\n") == nullptr);
}

bool is_terminated(const ConfigWord& word) {
    return memchr(word, '\0', sizeof word) != nullptr;
}

void require_entries(const char* path) {
    constexpr unsigned kAllOptions = kEnableArchiveBit | kInheritPosixPermissions;
    ConfigWord name = "";
    ConfigWord volumePath = "";
    ConfigWord fourth = "";
    ConfigWord fifth = "";
    unsigned attributes = 0;
    for (unsigned index = 0; index < 3; index++) {
        REQUIRE((GetVolumeEntry(path, index, name, nullptr, nullptr) == kOk) ==
                (GetVolumeEntry(path, index, name, &volumePath, &attributes) == kOk));
        REQUIRE(is_terminated(name) && is_terminated(volumePath));
        REQUIRE((attributes & ~kAllOptions) == 0);
        REQUIRE((GetShadowVolumeEntry(path, index, name, nullptr, nullptr, nullptr) == kOk) ==
                (GetShadowVolumeEntry(path, index, name, &volumePath, &fourth, &fifth) == kOk));
        REQUIRE(is_terminated(name) && is_terminated(volumePath));
        REQUIRE(is_terminated(fourth) && is_terminated(fifth));
    }
}

} // namespace

void drive_config_readers(std::string_view input) {
    const ConfigFileOf file(input);
    const std::string path = file.path();
    char none = '\0';
    for (const char* key : {"LOG_LEVEL", "VOLUME", "a"}) {
        require_exact_size([&](char* value, int* size) {
            return GetConfigValue(path.c_str(), key, value != nullptr ? value : &none, size,
                                  nullptr);
        });
    }
    int size = 0;
    const int rc = read_server_name(path.c_str(), &none, &size);
    REQUIRE(rc == kNoData || (rc == kBufferTooSmall && size > 0));
    require_entries(path.c_str());
    REQUIRE(file.content() == input && file.is_alone());
}

void drive_config_removers(std::string_view input) {
    const ConfigFileOf file(input);
    const std::string path = file.path();
    // No line is as long as this key: all are copied, but for doubled percent signs.
    const std::string key(kConfigLineSize, 'k');
    REQUIRE(RemoveConfigEntry(path.c_str(), key.c_str(), nullptr) == kOk);
    const bool plain = input.find('%') == std::string_view::npos;
    REQUIRE(plain ? file.content() == input : file.content().size() <= input.size());

    REQUIRE(RemoveConfigEntry(path.c_str(), "VOLUME", nullptr) == kOk);
    REQUIRE(remove_server_name(path.c_str()) == kOk);
    char none = '\0';
    int size = 0;
    // A percent sign less moves the places where a line that is too long is cut. A line whose key
    // comes after other white space than blanks and tabs stays, though readers take it.
    if (plain && input.find_first_of("\v\f\r") == std::string_view::npos) {
        REQUIRE(GetConfigValue(path.c_str(), "VOLUME", &none, &size, nullptr) == kNoData);
    }
    REQUIRE(file.is_alone() && file.content().size() <= input.size());
}

void drive_log_keywords(std::string_view input) {
    const std::string text(input);
    const LogContext* log = GetLogContext();
    const LogOperations& operations = log->operations;
    const int before = log->level.load();

    const int whole = ProcessLogLevel(text.c_str());
    const int levelOfWhole = log->level.load();
    REQUIRE(whole == kOk || whole == 1 || whole == kInvalid);
    REQUIRE(levelOfWhole >= kLogNothing && levelOfWhole <= kLogEverything);
    REQUIRE(whole == kOk || levelOfWhole == before);

    operations.SetLogLevel(before);
    const int prefix = ProcessLogLevelPrefix(text.c_str());
    REQUIRE(prefix == kOk || prefix == 1 || prefix == kInvalid);
    REQUIRE(prefix == kOk || log->level.load() == before);
    // What the one takes whole the other takes too, and for the same.
    REQUIRE(whole != kOk || (prefix == kOk && log->level.load() == levelOfWhole));
    operations.SetLogMode(kLogModeDefault); // out of the system log, should "SYSLOG" have been it
}

} // namespace zrp
