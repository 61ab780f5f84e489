// PLY: ascii and both binary byte orders, elements and properties that are
// not the surface, a file written elsewhere, short files and header counts
// beyond the file.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrPlyFile.h"

using iotest::Put;
using iotest::Tri;

TEST(KrPlyFile, AsciiAndBinarySkipOtherElements)
{
    iotest::Files files;
    // Extra vertex properties, an extra element, a list before the faces'
    // own, a quad; LF and CRLF line ends.
    const std::string ascii = "ply\nformat ascii 1.0\ncomment by hand\nelement vertex 4\n"
                              "property float x\nproperty float y\nproperty uchar red\nproperty double z\n"
                              "element edge 1\nproperty int vertex1\nproperty int vertex2\nelement face 2\n"
                              "property list uchar float texcoord\nproperty list uchar int vertex_indices\n"
                              "end_header\n0 0 255 0\n1 0 0 0.5\n1 1 7 1\n0 1 0 1.5\n0 1\n"
                              "2 0.5 0.5 4 0 1 2 3\n0 3 3 2 1\n";
    for (const std::string& text : {ascii, iotest::Crlf(ascii)}) {
        const iotest::Mesh m = iotest::MustRead(krtes::ReadPlyFile, files.Write("a.ply", text));
        ASSERT_EQ(m.pts.size(), 4u);
        EXPECT_EQ(m.pts[3].z, 1.5);
        ASSERT_EQ(m.ids.size(), 3u);
        EXPECT_TRUE(Tri(m.ids[0], 0, 1, 2) && Tri(m.ids[1], 0, 2, 3) && Tri(m.ids[2], 3, 2, 1));
    }

    // Binary in both byte orders: mixed coordinate types, an extra element
    // with a list, face lists with uchar/int counts and uint/int indices (a
    // second index list after the faces' own is skipped).
    for (bool big : {false, true}) {
        std::string b = std::string("ply\nformat ") + (big ? "binary_big_endian" : "binary_little_endian") +
                        " 1.0\nelement vertex 4\nproperty float x\nproperty double y\nproperty float z\n"
                        "property short s\nelement material 1\nproperty list int ushort ids\nproperty double g\n"
                        "element face 2\nproperty list uchar uint vertex_indices\nproperty list int int vertex_index\n"
                        "end_header\n";
        for (const auto& v : {CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 1), CKrPoint3d(2, 2, 2), CKrPoint3d(0, 2, 3)}) {
            Put(b, static_cast<float>(v.x), big);
            Put(b, v.y, big);
            Put(b, static_cast<float>(v.z), big);
            Put(b, static_cast<int16_t>(-3), big);
        }
        Put(b, int32_t(2), big);
        Put(b, uint16_t(7), big);
        Put(b, uint16_t(8), big);
        Put(b, 0.25, big);
        for (uint32_t c : {2u, 3u}) {
            Put(b, uint8_t(3), big);
            for (uint32_t k : {0u, c - 1, c}) Put(b, k, big);
            Put(b, int32_t(1), big);
            Put(b, int32_t(77), big);
        }
        const iotest::Mesh m = iotest::MustRead(krtes::ReadPlyFile, files.Write(big ? "be.ply" : "le.ply", b));
        ASSERT_EQ(m.pts.size(), 4u);
        EXPECT_EQ(m.pts[3].y, 2.0);
        EXPECT_EQ(m.pts[3].z, 3.0);
        ASSERT_EQ(m.ids.size(), 2u);
        EXPECT_TRUE(Tri(m.ids[1], 0, 2, 3));
        iotest::ExpectMeshErrors(files, {{"cut.ply", b.substr(0, b.size() - 9),
                                          "@: file ends early (short binary data) in element 'face' (record 2 of 2)"}});
    }
}

TEST(KrPlyFile, ReadsAFileWrittenElsewhereAndEveryShortCopyFailsCleanly)
{
    // A cube of side 2: big-endian, float coordinates, colour bytes, quads.
    const std::string path = iotest::Foreign("cube_be.ply");
    iotest::ExpectSolid(path, 8, 12, 8.0, 24.0);
    const std::string whole = iotest::Read(path);
    iotest::ExpectEveryCutFails(whole, whole.find("end_header\n") + 11, ": file ends early (short binary data)",
                                krtes::ReadPlyFile);
}

TEST(KrPlyFile, ErrorsNameTheFileAndLine)
{
    // Counts far beyond what the file holds end in a clean error at the end
    // of the data, without reserving memory for the count (2^40 faces would
    // be terabytes); an element without properties holds nothing whatever
    // its count.
    std::string le = "ply\nformat binary_little_endian 1.0\nelement vertex 2147483647\nproperty float x\n"
                     "property float y\nproperty float z\nelement face 1099511627776\n"
                     "property list uchar int vertex_indices\nend_header\n";
    for (int k = 0; k < 9; ++k) Put(le, float(k % 2));
    const std::string fmt = "ply\nformat ascii 1.0\n";
    const std::string xyz = "property float x\nproperty float y\nproperty float z\n";
    const std::string faces = "property list uchar int vertex_indices\nend_header\n";
    const std::string head = fmt + "element vertex 3\n" + xyz + "element face 1\n" + faces;
    const std::string v3 = "0 0 0\n1 0 0\n0 1 0\n";
    iotest::Files files;
    iotest::ExpectMeshErrors(files, {
        {"big.ply", le, "@: file ends early (short binary data) in element 'vertex' (record 4 of 2147483647)"},
        {"asc.ply", fmt + "element nothing 999999999999999\nelement vertex 3\n" + xyz + "element face 1099511627776\n" +
                    faces + v3 + "3 0 1 2\n",
         "@: file ends early in element 'face' (record 2 of 1099511627776)"},
        {"many.ply", fmt + "element vertex 2147483648\nend_header\n", "@:3: too many vertices"},
        {"idx.ply", head + v3 + "3 0 1 3\n", "face index 3 out of range (3 vertices) in element 'face' (record 1"},
        {"neg.ply", head + v3 + "3 0 -1 2\n", "face index -1 out of range"},
        {"twoc.ply", head + v3 + "2 0 1\n", "face has 2 corner(s)"},
        {"len.ply", head + v3 + "300 0 1\n", "file ends early"},
        {"word.ply", head + "0 0 0\n1 x 0\n", "@:11: 'x' is not a number"},
        {"crlf.ply", iotest::Crlf(fmt + "element vertex 1\n" + xyz + "element face 0\n" + faces + "0 inf 0\n"),
         "coordinate is not finite (NaN or infinite) in element 'vertex' (record 1 of 1)"},
        {"magic.ply", "plyx\n", "not a PLY file"},
        {"fmt.ply", "ply\nformat binary_middle_endian 1.0\n", "@:2: unsupported PLY format 'binary_middle_endian'"},
        {"type.ply", fmt + "element vertex 1\nproperty quad x\n", "@:4: unsupported property type 'quad'"},
        {"list.ply", fmt + "element face 1\nproperty list float int v\n", "@:4: unsupported list property types"},
        {"elem.ply", fmt + "element vertex -1\n", "@:3: malformed element line"},
        {"prop.ply", fmt + "property float x\n", "@:3: property before any element"},
        {"nofmt.ply", "ply\nend_header\n", "no format line"},
        {"nohead.ply", fmt + "element vertex 1\n", "no end_header"},
        {"noxyz.ply", fmt + "element vertex 1\nproperty float x\nend_header\n0\n", "@:3: vertex element lacks an x"},
        {"noface.ply", fmt + "element vertex 3\n" + xyz + "end_header\n" + v3, "no face element"},
        {"nolist.ply", fmt + "element face 1\nproperty int v\nend_header\n", "face element has no vertex_indices"},
        {"what.ply", fmt + "vertex 3\n", "@:3: unknown header line"},
    });
}
