#include "bench/documents.h"

namespace zrp::bench {
namespace {

std::string element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string name_of(int item, int cdataEach, const std::string& name) {
    return element("name",
                   cdataEach != 0 && item % cdataEach == 0 ? "<![CDATA[" + name + "]]>" : name);
}

std::string document(const char* list, const std::string& items) {
    return element("zrpConsoleReply", "<result value=\"0\"/>" + element(list, items));
}

} // namespace

std::string volumes(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        const std::string name = "VOLUME_" + std::to_string(random() % 100000);
        list += element("volume", name_of(i, cdataEach, name) + element("status", "0x3") +
                                      element("volumeNumber", std::to_string(i)));
    }
    return document("listVolumes", list);
}

std::string connections(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        const std::string user = "CN=USER" + std::to_string(random() % 10000) + ".O=ACME";
        const auto number = [&] { return std::to_string(random()); };
        list += element("connectionTag",
                        element("stationNumberTag", std::to_string(i + 1)) +
                            element("zrpRequests", number()) + element("bytesRead", number()) +
                            element("bytesWritten", number()) + name_of(i, cdataEach, user) +
                            element("loginTime", "Sun Nov 22 10:00:00 2026") +
                            element("licensedState", "licensed") + element("encrypted", "no") +
                            element("mfa", "no"));
    }
    return document("listConnections", list);
}

std::string counters(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        const std::string name = "Counter of requests " + std::to_string(i);
        list += element("parm", name_of(i, cdataEach, name) + "<value type=\"uint64\">" +
                                    std::to_string(random()) + "</value>");
    }
    return document("serverStatistics", list);
}

} // namespace zrp::bench
