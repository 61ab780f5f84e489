// Point tables: spreadsheet exports with named columns and carried fields.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPointTable.h"

namespace {

krtes::SKrPointTable Read(const std::string& path, const std::string& columns = "")
{
    krtes::SKrPointTable t;
    krtes::SKrPointTableOptions o;
    o.columns = columns;
    std::string err;
    EXPECT_TRUE(krtes::ReadPointTable(path, t, err, o)) << err;
    return t;
}

}  // namespace

TEST(KrPointTable, HeadersSeparatorsAndCarriedColumns)
{
    iotest::Files files;
    // The same three points in the layouts spreadsheets write: named columns
    // in any order and case, a point number and code carried along.
    const std::vector<std::string> layouts{
        "Point,Easting,Northing,Elevation,Code\n1,500000.5,6000000.25,101.5,TREE\n2,500001,6000002,102,\n"
        "3,500003.125,6000001,99.75,\"FENCE, OLD\"\n",
        "\xEF\xBB\xBFpoint;N;E;Z;code\r\n1;6000000,25;500000,5;101,5;TREE\r\n2;6000002;500001;102;\r\n"
        "3;6000001;500003,125;99,75;FENCE, OLD\r\n",
        "# exported 2026-03-01\nPOINT\tE\tN\tH\tCODE\n1\t500000,5\t6000000.25\t101.5\tTREE\n\n"
        "2\t500001\t6000002\t102\n3\t500003.125\t6000001\t99.75\tFENCE, OLD\n",
        "point  x  y  z  code\n1 500000.5 6000000.25 101.5 TREE\n2 500001 6000002 102\n"
        "3 500003.125 6000001 99.75 \"FENCE, OLD\"\n",
    };
    for (const std::string& text : layouts) {
        const krtes::SKrPointTable t = Read(files.Write("points.csv", text));
        ASSERT_EQ(t.pts.size(), 3u) << text;
        EXPECT_TRUE(iotest::Same(t.pts[0], CKrPoint3d(500000.5, 6000000.25, 101.5))) << text;
        EXPECT_TRUE(iotest::Same(t.pts[2], CKrPoint3d(500003.125, 6000001, 99.75))) << text;
        ASSERT_EQ(t.extraNames.size(), 2u);
        EXPECT_EQ(t.Extra(0, 1), "TREE");
        EXPECT_EQ(t.Extra(1, 1), "");
        EXPECT_EQ(t.Extra(2, 0), "3");
        EXPECT_EQ(t.Extra(2, 1), "FENCE, OLD") << text;
    }
    // Columns named by the caller for a file without a header, or instead of one.
    krtes::SKrPointTable t = Read(files.Write("pnez.txt", "7 6000000 500000 12.5 CP\n"), "no,n,e,z,code");
    ASSERT_EQ(t.pts.size(), 1u);
    EXPECT_TRUE(iotest::Same(t.pts[0], CKrPoint3d(500000, 6000000, 12.5)));
    EXPECT_EQ(t.Extra(0, 1), "CP");
    // A header of three unknown names is x y z; quotes may hold doubled quotes.
    t = Read(files.Write("abc.csv", "a,b,c\n1,2,3\n"));
    ASSERT_EQ(t.pts.size(), 1u);
    EXPECT_TRUE(iotest::Same(t.pts[0], CKrPoint3d(1, 2, 3)));
    t = Read(files.Write("quoted.csv", "x,y,z,\"label \"\"q\"\"\"\n1,2,3,\"say \"\"hi\"\"\"\n"));
    ASSERT_EQ(t.pts.size(), 1u);
    EXPECT_EQ(t.extraNames, std::vector<std::string>{"label \"q\""});
    EXPECT_EQ(t.Extra(0, 0), "say \"hi\"");
    // A header alone: no points, no error.
    EXPECT_TRUE(Read(files.Write("head.csv", "\xEF\xBB\xBF" "id,x,y,height\r\n")).pts.empty());
}

TEST(KrPointTable, ReadsWhatThePointReaderReadsAndNamesBadLines)
{
    // Plain point files read the same through both readers.
    iotest::Files files;
    const std::string p = files.Write("plain.xyz", "X,Y,Z\n# c\n1 2 3\n4\t5\t6   # trailing\n\n7,8,9\r\n+1e3, -2.5E-1 ,0");
    iotest::Pts a;
    std::string err;
    ASSERT_TRUE(krtes::ReadPointFile(p, a, err)) << err;
    const krtes::SKrPointTable pt = Read(p);
    ASSERT_EQ(pt.pts.size(), a.size());
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(iotest::Same(pt.pts[i], a[i])) << i;

    // Bad tables name the file and line, and leave the table as it was.
    iotest::ExpectErrors(files, {
        {"a.csv", "x,y,z\n1,2,3\n4,5\n", "@:3: expected 3 values (x y z), found 2"},
        {"b.csv", "x,y,z\n1,2,3\n4,5,6,7\n", "@:3: expected 3 values (x y z), found 4"},
        {"c.csv", "x,y,z,code\n1,,3,a\n", "@:2: no value in column 2 (y)"},
        {"d.csv", "x;y;z\n1;2;3\n1;zwei;3\n", "@:3: 'zwei' is not a number"},
        {"e.csv", "x,y,z\n1,2,nan\n", "@:2: coordinate is not finite"},
        {"f.csv", "id,x,y,code\n1,2,3,a\n", "@:1: header: no column named z"},
        {"g.csv", "x,y,z,e\n", "@:1: header: columns 'x' and 'e' both name x"},
        {"h.csv", "1 2 3 4\n", "@:1: 4 columns and no header row"},
        {"i.csv", "x,y,z\n1,2,\"3\n", "@:2: a quoted field is not closed"},
    }, [](const std::string& path, std::string& e) {
        krtes::SKrPointTable t;
        t.pts.emplace_back(9, 9, 9);
        const bool ok = krtes::ReadPointTable(path, t, e);
        EXPECT_EQ(t.pts.size(), 1u);
        return ok;
    });
}
