// STL: ascii and binary, shared corners, files written elsewhere, short and
// malformed files.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrStlFile.h"

using iotest::Put;
using iotest::Tri;

TEST(KrStlFile, AsciiAndBinaryShareCorners)
{
    iotest::Files files;
    iotest::Mesh m = iotest::MustRead(krtes::ReadStlFile,
                                      files.Write("a.stl", "solid two\n facet normal 0 0 1\n  outer loop\nvertex 0 0 0\n"
                                                           "vertex 1 0 0\nvertex 1 1 0\n endloop\nendfacet\n"
                                                           "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 1 0\n"
                                                           "vertex 0 1 0\nendloop\nendfacet\nendsolid two\n"));
    EXPECT_EQ(m.pts.size(), 4u);  // shared corners are one point
    EXPECT_TRUE(m.ids.size() == 2 && Tri(m.ids[1], 0, 2, 3));

    // Binary, its header starting with "solid" as some writers do; -0 and 0
    // are one coordinate.
    std::string b = "solid but binary";
    b.resize(80, ' ');
    Put(b, uint32_t(2));
    for (const auto& t : {std::vector<float>{0, 0, 0, 1, 0, 0, 1, 1, 0}, std::vector<float>{0, 0, 0, 1, 1, 0, 0, 1, 0}}) {
        for (int k = 0; k < 3; ++k) Put(b, 0.0f);
        for (std::size_t k = 0; k < t.size(); ++k) Put(b, k == 0 && t[4] == 1 ? -0.0f : t[k]);
        Put(b, uint16_t(0));
    }
    m = iotest::MustRead(krtes::ReadStlFile, files.Write("b.stl", b));
    EXPECT_EQ(m.pts.size(), 4u);
    EXPECT_TRUE(m.ids.size() == 2 && Tri(m.ids[1], 0, 2, 3));
    iotest::ExpectMeshErrors(files, {
        {"cut.stl", b.substr(0, b.size() - 5), "file ends early (binary STL of 2 triangles has 184 bytes, found 179)"},
        {"long.stl", b + "xyz", "trailing data"},
        {"tiny.stl", "abc", "needs an 84-byte header"},
        {"two.stl", "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nendloop\n",
         "@:6: facet with 2 vertices"},
        {"junk.stl", "solid x\nouter loop\nvertex 0 0\n", "@:3: malformed vertex line"},
        {"inf.stl", "solid x\r\nouter loop\r\nvertex 0 0 -inf\r\n", "@:3: coordinate is not finite"},
        {"word.stl", "solid x\nfacet normal 0 0 1\nloop\n", "@:3: unexpected 'loop' in an ASCII STL file"},
        {"open.stl", "solid x\nouter loop\nvertex 0 0 0\n", "inside a facet"},
    });
}

TEST(KrStlFile, ReadsFilesWrittenElsewhereAndEveryShortCopyFailsCleanly)
{
    // An octahedron with corners at +-1 on the axes, as binary (header
    // starting with "solid") and as CRLF text in %e notation.
    for (const char* name : {"octa_bin.stl", "octa_crlf.stl"})
        iotest::ExpectSolid(iotest::Foreign(name), 6, 8, 4.0 / 3.0, 4.0 * std::sqrt(3.0));
    iotest::ExpectEveryCutFails(iotest::Read(iotest::Foreign("octa_bin.stl")), 0, ": file ends early", krtes::ReadStlFile);
}
