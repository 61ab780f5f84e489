#ifndef KRTES_TESTS_SCRATCHDIR_H
#define KRTES_TESTS_SCRATCHDIR_H

// Scratch directories for the files tests write. Each is new and empty,
// private to its owner (test programs run in parallel and share the temp
// directory), and removed with everything in it when its owner goes, so a
// run leaves nothing behind even when a check fails half way.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace testmesh {

class ScratchDir {
public:
    ScratchDir()
    {
        std::string tmpl = ::testing::TempDir() + "krtes_XXXXXX";
        if (mkdtemp(tmpl.data()))
            m_dir = tmpl;
        else
            ADD_FAILURE() << "cannot make a scratch directory in " << ::testing::TempDir();
    }
    ~ScratchDir()
    {
        std::error_code ec;
        if (!m_dir.empty()) std::filesystem::remove_all(m_dir, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& Dir() const { return m_dir; }
    std::string Path(const std::string& name) const { return m_dir + "/" + name; }

private:
    std::string m_dir;
};

// A fixture running each test with a scratch directory of its own as the
// working directory: the boolean construction writes its diagnostic files
// into the current one.
class InScratchDir : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_home = std::filesystem::current_path();
        std::filesystem::current_path(m_dir);
    }
    void TearDown() override { std::filesystem::current_path(m_home); }

    ScratchDir m_scratch;
    const std::string m_dir = m_scratch.Dir();
    std::filesystem::path m_home;
};

}  // namespace testmesh

#endif
