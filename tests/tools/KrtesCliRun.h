#ifndef KRTES_TESTS_KRTESCLIRUN_H
#define KRTES_TESTS_KRTESCLIRUN_H

// Running the krtes program from tests, and scratch files for it.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace krtes_test {

struct CliRun {
    int code;         // exit code, -1 when the program did not exit normally
    std::string out;  // standard output, and standard error unless left out
};

inline CliRun Krtes(const std::string& args, bool withStderr = true)
{
    const std::string cmd = std::string(KRTES_TOOL) + " " + args + (withStderr ? " 2>&1" : " 2>/dev/null");
    CliRun r{-1, ""};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
    const int st = pclose(p);
    r.code = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// A path in the scratch directory, unique to the running test (tests run in
// parallel processes that share the directory).
inline std::string Temp(const std::string& name)
{
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string who = t ? std::string(t->test_suite_name()) + "." + t->name() + "_" : std::string();
    return ::testing::TempDir() + "krtes_" + who + name;
}

inline std::string Write(const std::string& name, const std::string& text)
{
    const std::string p = Temp(name);
    std::ofstream(p) << text;
    return p;
}

inline std::string Read(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline bool Exists(const std::string& path) { return std::ifstream(path).good(); }

}  // namespace krtes_test

#endif
