// Polyline files: blocks separated by blank lines.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrPolylineFile.h"

TEST(KrPolylineFile, BlocksSplitOnBlankLines)
{
    iotest::Files files;
    for (const std::string eol : {"\n", "\r\n"}) {
        std::vector<std::vector<CKrPoint3d>> lines;
        std::string err;
        const std::string p = files.Write("lines.txt", "x y z" + eol + "0 0 1" + eol + "1 0 1" + eol +
                                                           "# a comment does not end a block" + eol + "2,1,1" + eol +
                                                           eol + "   " + eol + "5 5 0" + eol + "6 6 0");
        ASSERT_TRUE(krtes::ReadPolylineFile(p, lines, 2, err)) << err;
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].size(), 3u);
        EXPECT_EQ(lines[0][2].x, 2.0);
        EXPECT_EQ(lines[1][1].x, 6.0);
        // A hole or outline needs three points; the message names the block,
        // and the output is left as it was.
        EXPECT_FALSE(krtes::ReadPolylineFile(p, lines, 3, err));
        EXPECT_NE(err.find(p + ":8: polyline has 2 point(s)"), std::string::npos) << err;
        EXPECT_EQ(lines.size(), 2u);
        EXPECT_FALSE(krtes::ReadPolylineFile(files.Write("bad.txt", "0 0 0" + eol + "1 1" + eol), lines, 2, err));
        EXPECT_NE(err.find(":2: expected 3 values (x y z), found 2"), std::string::npos) << err;
    }
}
