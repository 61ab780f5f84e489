// The memory limit of a read: a file too large for it is refused with the
// file and line, whatever the reader, and the caller's data is untouched.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrObjFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPointTable.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/io/KrReadLimit.h"

namespace {

struct LimitGuard {
    explicit LimitGuard(std::size_t bytes) { krtes::SetReadMemoryLimit(bytes); }
    ~LimitGuard() { krtes::SetReadMemoryLimit(0); }
};

}  // namespace

TEST(KrReadLimit, TooLargeFilesAreRefusedWhereTheLimitIsReached)
{
    iotest::Files files;
    std::string text;
    for (int i = 0; i < 60000; ++i) text += std::to_string(i) + " " + std::to_string(i % 97) + " 1.5\n";
    const std::string pointsPath = files.Write("big.xyz", text);
    const std::string polyPath = files.Write("big.pl3", text);
    std::string obj;
    for (int i = 0; i < 80000; ++i) obj += "v " + std::to_string(i) + ".125 0.5 0.25\n";  // 1.7 MB
    const std::string objPath = files.Write("big.obj", obj);

    {
        // A third of 3,000,000 bytes holds 41,666 points of 24 bytes: the
        // 41,667th line is the one refused.
        LimitGuard limit(3000000);
        std::vector<CKrPoint3d> pts(1, CKrPoint3d(7, 7, 7));
        std::string err;
        EXPECT_TRUE(iotest::Refused(krtes::ReadPointFile(pointsPath, pts, err), err, "big.xyz:41667: the file is too large"));
        EXPECT_NE(err.find("41666 points read"), std::string::npos) << err;
        EXPECT_EQ(pts.size(), 1u);
        EXPECT_TRUE(iotest::Refused(krtes::ReadPlanPointFile(pointsPath, pts, err), err, "big.xyz:41667: the file is too large"));

        std::vector<std::vector<CKrPoint3d>> lines;
        EXPECT_TRUE(iotest::Refused(krtes::ReadPolylineFile(polyPath, lines, 2, err), err, "big.pl3:41667: the file is too large"));

        krtes::SKrPointTable table;
        EXPECT_TRUE(iotest::Refused(krtes::ReadPointTable(pointsPath, table, err), err, "big.xyz:41667: "));
        EXPECT_TRUE(table.pts.empty());

        // A format read whole is refused by its size before any of it is read.
        std::vector<KrTesGeo::_sTri_ID> tris;
        EXPECT_TRUE(iotest::Refused(krtes::ReadObjFile(objPath, pts, tris, err), err, "big.obj: the file is too large"));
        EXPECT_EQ(pts.size(), 1u);
    }
    // The automatic limit (the memory free now) takes them all.
    EXPECT_GT(krtes::ReadMemoryLimit(), 3000000u);
    std::vector<CKrPoint3d> pts;
    std::string err;
    ASSERT_TRUE(krtes::ReadPointFile(pointsPath, pts, err)) << err;
    EXPECT_EQ(pts.size(), 60000u);
    EXPECT_EQ(pts.back().y, 59999 % 97);
}
