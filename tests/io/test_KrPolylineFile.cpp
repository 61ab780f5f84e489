// Polyline files: blocks separated by blank lines.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrPolylineFile.h"

TEST(KrPolylineFile, BlocksSplitOnBlankLines)
{
    iotest::Files files;
    const std::string text = "x y z\n0 0 1\n1 0 1\n# a comment does not end a block\n2,1,1\n\n   \n5 5 0\n6 6 0";
    for (const std::string& t : {text, iotest::Crlf(text)}) {
        std::vector<iotest::Pts> lines;
        std::string err;
        const std::string p = files.Write("lines.txt", t);
        ASSERT_TRUE(krtes::ReadPolylineFile(p, lines, 2, err)) << err;
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].size(), 3u);
        EXPECT_EQ(lines[0][2].x, 2.0);
        EXPECT_EQ(lines[1][1].x, 6.0);
        // A hole or outline needs three points; the message names the block,
        // and the output is left as it was.
        EXPECT_TRUE(iotest::Refused(krtes::ReadPolylineFile(p, lines, 3, err), err, p + ":8: polyline has 2 point(s)"));
        EXPECT_EQ(lines.size(), 2u);
        const std::string bad = files.Write("bad.txt", t == text ? "0 0 0\n1 1\n" : "0 0 0\r\n1 1\r\n");
        EXPECT_TRUE(iotest::Refused(krtes::ReadPolylineFile(bad, lines, 2, err), err, ":2: expected 3 values (x y z), found 2"));
    }
}
