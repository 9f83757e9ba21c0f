// Metrics in a file, for the node exporter's folder of text files.
#pragma once

#include <string>

namespace zrp::exporter {

// Replaces the file by the text, with mode 0644: it has either its old content or the new one at
// any time. The text is first written to a file beside it, whose name does not end in ".prom", so
// that nobody reads it before it is whole. Returns 0 or an errno value; the old file is then as it
// was, and nothing else is left in the folder.
int WriteTextfile(const std::string& path, const std::string& text);

} // namespace zrp::exporter
