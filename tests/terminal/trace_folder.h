// A working directory for the monitor, and the debug trace in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/terminal/session.h"

namespace zrp {

// A temporary working directory.
class TraceFolder {
public:
    TraceFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "zrptop-test-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    TraceFolder(const TraceFolder&) = delete;
    TraceFolder& operator=(const TraceFolder&) = delete;
    ~TraceFolder() {
        std::filesystem::remove_all(path);
    }

    [[nodiscard]] std::string trace() const {
        std::ifstream file(path / "zrptop.log");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // The trace's lines of one function.
    [[nodiscard]] std::string trace_of(const std::string& tag) const {
        std::ifstream file(path / "zrptop.log");
        std::string lines;
        for (std::string line; std::getline(file, line);) {
            lines += line.starts_with(tag + ": ") ? line + "\n" : "";
        }
        return lines;
    }

    std::filesystem::path path;
};

// The monitor on a terminal of that size, with its trace in the folder.
inline TerminalOptions traced_monitor(const TraceFolder& folder, int rows = 25, int columns = 80) {
    TerminalOptions options = monitor(rows, columns, {"-d"});
    options.child.directory = folder.path;
    return options;
}

// The same in a session of its own, without a controlling terminal: the kernel sends it nothing
// when the terminal goes away. The parent that waits for it has one.
inline TerminalOptions without_controlling_terminal(const TraceFolder& folder) {
    TerminalOptions options = traced_monitor(folder);
    auto& arguments = options.child.arguments;
    arguments.insert(arguments.begin(), {"env", "--ignore-signal=HUP", "setsid", "--wait"});
    return options;
}

} // namespace zrp
