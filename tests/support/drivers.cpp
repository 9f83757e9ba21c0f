#include "tests/support/drivers.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/management_driver.h"
#include "tests/support/reader_drivers.h"
#include "tests/support/scanner_drivers.h"
#include "tests/support/server_driver.h"
#include "tests/support/text_drivers.h"

namespace zrp {

const std::vector<Driver>& drivers() {
    static const std::vector<Driver> table = {
        {"finder", drive_finder},
        {"next_element", drive_next_element},
        {"plain_tags", drive_plain_tags},
        {"strings_and_numbers", drive_strings_and_numbers},
        {"range_numbers", drive_range_numbers},
        {"attribute", drive_attribute},
        {"name_value_parm", drive_name_value_parm},
        {"error_check", drive_error_check},
        {"escapes", drive_escapes},
        {"server_statistics", drive_server_statistics},
        {"list_and_fields", drive_list_and_fields},
        {"volume_list", drive_volume_list},
        {"volume_information", drive_volume_information},
        {"connection_list", drive_connection_list},
        {"connection_information", drive_connection_information},
        {"diagnostics", drive_diagnostics},
        {"server_settings", drive_server_settings},
        {"management_replies", drive_management_replies},
        {"server_replies", drive_server_replies},
        {"config_readers", drive_config_readers, "configurations"},
        {"config_removers", drive_config_removers, "configurations"},
        {"log_keywords", drive_log_keywords, "keywords"},
    };
    return table;
}

std::string corpus_folder(const std::string& corpus) {
    return std::filesystem::path(ZRP_CORPUS) / corpus;
}

std::vector<Sample> samples(const std::string& corpus) {
    std::vector<Sample> read;
    for (const auto& entry : std::filesystem::directory_iterator(corpus_folder(corpus))) {
        std::ifstream file(entry.path(), std::ios::binary);
        read.push_back({entry.path().filename(), {std::istreambuf_iterator<char>(file), {}}});
    }
    return read;
}

} // namespace zrp
