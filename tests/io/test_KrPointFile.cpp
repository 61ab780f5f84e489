// Point and plan-point files, and the number text they are made of.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrPointFile.h"

TEST(KrPointFile, CommonLayoutsAndBadFiles)
{
    iotest::Files files;
    iotest::Pts pts;
    std::string err;
    // Header row, comments, tabs, commas, blank lines, a CRLF line, signs
    // and exponents; with and without a byte-order mark.
    const std::string text = "X,Y,Z\n# surveyed 2026-11-02\n1 2 3\n4\t5\t6   # trailing comment\n\n"
                             "7,8,9\r\n+1e3, -2.5E-1 ,0";
    for (const std::string& t : {text, "\xEF\xBB\xBF" + text}) {
        ASSERT_TRUE(krtes::ReadPointFile(files.Write("layouts.xyz", t), pts, err)) << err;
        ASSERT_EQ(pts.size(), 4u);
        EXPECT_TRUE(iotest::Same(pts[1], CKrPoint3d(4, 5, 6)) && iotest::Same(pts[2], CKrPoint3d(7, 8, 9)));
        EXPECT_TRUE(iotest::Same(pts[3], CKrPoint3d(1000, -0.25, 0)));
    }
    // A spreadsheet export written elsewhere: byte-order mark, CRLF, header
    // row, 50 points on the plane z = 2x - y + 1.
    ASSERT_TRUE(krtes::ReadPointFile(iotest::Foreign("plane_bom.csv"), pts, err)) << err;
    ASSERT_EQ(pts.size(), 50u);
    for (const CKrPoint3d& p : pts) EXPECT_EQ(p.z, 2 * p.x - p.y + 1);
    // Plan positions take "x y" or "x y z" (z ignored, even when not finite).
    ASSERT_TRUE(krtes::ReadPlanPointFile(files.Write("plan.txt", "x y\n1 2\n3,4,nan\n"), pts, err)) << err;
    ASSERT_EQ(pts.size(), 2u);
    EXPECT_TRUE(iotest::Same(pts[1], CKrPoint3d(3, 4, 0)));

    const auto read = [](bool plan) {
        return [plan](const std::string& p, std::string& e) {
            iotest::Pts out{CKrPoint3d(9, 9, 9)};
            const bool ok = plan ? krtes::ReadPlanPointFile(p, out, e) : krtes::ReadPointFile(p, out, e);
            EXPECT_EQ(out.size(), 1u);  // the output is untouched on failure
            return ok;
        };
    };
    iotest::ExpectErrors(files, {
        {"a.xyz", "1 2 3\n4 5\n", "@:2: expected 3 values (x y z), found 2"},
        {"b.xyz", "1 2 3\r\n4 five 6\r\n", "@:2: 'five' is not a number"},
        {"c.xyz", "1 2 3\n4 5 6 7\n", "@:2: expected 3 values"},
        {"d.xyz", "1 2 3\n1 nan 3\n", "@:2: coordinate is not finite"},
        {"e.xyz", "1 2 3\n1 2 inf\n", "@:2: coordinate is not finite"},
        {"f.xyz", "x y z\nlabel a b\n", "@:2: 'label' is not a number"},  // only one header line
        {"g.xyz", "\xEF\xBB\xBF\xEF\xBB\xBF" "1 2 3\n", "@:1: '\xEF\xBB\xBF" "1' is not a number"},  // one mark only
    }, read(false));
    iotest::ExpectErrors(files, {
        {"a.txt", "1\n", "@:1: expected x y (or x y z), found 1 values"},
        {"b.txt", "1 2\n1 2 3 4\n", "@:2: expected x y (or x y z), found 4 values"},
        {"c.txt", "1 2\n-inf 2\n", "@:2: coordinate is not finite"},
    }, read(true));
    EXPECT_TRUE(iotest::Refused(krtes::ReadPointFile(files.Path("does_not_exist.xyz"), pts, err), err, "cannot open"));
}

TEST(KrPointFile, NumbersReadAndWriteExactly)
{
    // The shortest form written reads back to the same double, by the C
    // library's strtod and by ParseNumber; it is never longer than "%.17g".
    std::mt19937_64 rng(11);
    std::string buf;
    for (int i = 0; i < 20000; ++i) {
        double d;
        const uint64_t bits = rng();
        std::memcpy(&d, &bits, sizeof d);
        if (!std::isfinite(d)) continue;
        if (i % 2) d = std::ldexp(static_cast<double>(bits >> 11), -30) - 4096.0;  // survey-sized values
        buf.clear();
        krtes::AppendNumber(buf, d);
        double back = 0;
        ASSERT_TRUE(krtes::ParseNumber(buf, back)) << buf;
        EXPECT_EQ(back, d) << buf;
        EXPECT_EQ(std::strtod(buf.c_str(), nullptr), d) << buf;
        char g[40];
        std::snprintf(g, sizeof g, "%.17g", d);
        EXPECT_LE(buf.size(), std::string(g).size()) << buf;
    }
    buf.clear();
    krtes::AppendPoint(buf, CKrPoint3d(500000.125, -0.1, 1e-300));
    EXPECT_EQ(buf, "500000.125 -0.1 1e-300\n");

    double v = 0;
    for (const char* bad : {"", "+", "+-1", " 1", "1 ", "1,", "1x", "0x10", "--1"})
        EXPECT_FALSE(krtes::ParseNumber(bad, v)) << bad;
    ASSERT_TRUE(krtes::ParseNumber("+2.5e-1", v));
    EXPECT_EQ(v, 0.25);
    std::vector<double> vals;
    std::string badField;
    EXPECT_EQ(krtes::ParseNumbers(" 1,\t-2 ,x, 3e2,y ", vals, badField), 3u);
    EXPECT_EQ(vals, (std::vector<double>{1, -2, 300}));
    EXPECT_EQ(badField, "x");
}
