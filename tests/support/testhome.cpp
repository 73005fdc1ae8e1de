// Linked into every test executable. A test run by hand, outside ctest, gets
// throw-away XDG folders of its own before main() starts, so that no test
// ever reads or deletes a developer's real settings or upload records.

#include <QtGlobal>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::string &throwAwayHome()
{
    static std::string path;
    return path;
}

void removeThrowAwayHome()
{
    std::error_code ignored;
    std::filesystem::remove_all(throwAwayHome(), ignored);
}

void isolateFromTheRealHome()
{
    if (qEnvironmentVariableIsSet("TESSLY_TEST_HOME"))
        return; // ctest gave this test a fresh home of its own
    std::string pattern = (std::filesystem::temp_directory_path() / "tessly-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        qFatal("cannot make a throw-away home for the test");
    throwAwayHome() = pattern;
    setenv("TESSLY_TEST_HOME", pattern.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (pattern + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (pattern + "/data").c_str(), 1);
    setenv("XDG_CACHE_HOME", (pattern + "/cache").c_str(), 1);
    std::atexit(removeThrowAwayHome);
}

} // namespace

Q_CONSTRUCTOR_FUNCTION(isolateFromTheRealHome)
