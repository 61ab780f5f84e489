// Files are written whole or not at all.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrFileWrite.h"

TEST(KrFileWrite, WholeOrNotAtAll)
{
    iotest::Files files;
    const std::string p = files.Write("out.txt", "old contents\n");
    std::string err;
    // A body that fails half way leaves the old file and no temporary.
    EXPECT_FALSE(krtes::WriteFileWhole(
        p, [](std::FILE* f) { return std::fputs("half", f) >= 0 && false; }, err));
    EXPECT_NE(err.find(p + ": write failed"), std::string::npos) << err;
    EXPECT_EQ(iotest::Read(p), "old contents\n");
    EXPECT_FALSE(iotest::Exists(p + ".part"));
    // A body that succeeds replaces it.
    ASSERT_TRUE(krtes::WriteTextOutput(p, "new\n", err)) << err;
    EXPECT_EQ(iotest::Read(p), "new\n");
    EXPECT_FALSE(iotest::Exists(p + ".part"));
    // A directory that does not exist: nothing is made.
    const std::string q = files.Path("nowhere/out.txt");
    EXPECT_TRUE(iotest::Refused(krtes::WriteTextOutput(q, "x", err), err, q + ": cannot create file"));
}
