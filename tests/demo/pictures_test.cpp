// Compares the pictures in the documents with what the program draws now.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/demo/piped.h"

namespace zrp::pictures_test {
namespace {

namespace fs = std::filesystem;

struct TemporaryFolder {
    TemporaryFolder() {
        std::string name = fs::temp_directory_path() / "pictures.XXXXXX";
        path = mkdtemp(name.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        fs::remove_all(path);
    }

    fs::path path;
};

using Pictures = std::map<std::string, std::string>; // content of each file

Pictures pictures_in(const fs::path& folder) {
    Pictures pictures;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path());
        pictures[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return pictures;
}

TEST_F(Demo, ThePicturesOfTheDocumentsAreWhatTheProgramDraws) {
    const TemporaryFolder drawn;
    const Piped demo({"--pictures", drawn.path});
    const size_t without = demo.printed.find("needs namespaces: ");
    if (without == std::string::npos) {
        ASSERT_EQ(demo.status, ExitStatus{}) << demo.printed;
    }
    Pictures expected = pictures_in(PICTURES_FOLDER);
    EXPECT_FALSE(expected.empty());
    if (without != std::string::npos) {
        expected.erase("version.svg");
    }
    for (const auto& [name, content] : pictures_in(drawn.path)) {
        EXPECT_EQ(content, expected[name]) << name << " is out of date; scripts/pictures draws it";
        expected.erase(name);
    }
    EXPECT_TRUE(expected.empty()) << expected.begin()->first << " is not drawn any more";
    if (without != std::string::npos) {
        GTEST_SKIP() << "the picture of the Version screen " << demo.printed.substr(without);
    }
}

TEST_F(Demo, AFolderThatCannotBeCreatedIsReported) {
    const Piped demo({"--pictures", "/dev/null/pictures"});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_TRUE(demo.has("/dev/null/pictures")) << demo.printed;
}

} // namespace
} // namespace zrp::pictures_test
