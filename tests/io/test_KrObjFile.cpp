// Wavefront OBJ: corner forms, fans, relative and forward indices, a file
// written elsewhere, and errors naming the file and line.
#include <gtest/gtest.h>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrObjFile.h"

using iotest::Tri;

TEST(KrObjFile, FacesInEveryFormFansAndAFileWrittenElsewhere)
{
    iotest::Files files;
    const std::string body = "# a quad and two triangles\nmtllib x.mtl\no thing\n"
                             "v 0 0 0\nv 1 0 0.5 1.0\nv 1 1 1\nv 0 1 1.5\nvt 0 0\nvn 0 0 1\nusemtl a\ns off\n"
                             "f 1/1/1 2/1/1 3/1/1 4/1/1\n"  // a quad: fan from corner 1
                             "v 2 0 0\n"
                             "f -4//1 -1//1 -3//1   # relative\n"
                             "f 2/1 5/1 3/1\nl 1 2\n";
    for (const std::string& text : {body, iotest::Crlf(body), "\xEF\xBB\xBF" + body}) {
        const iotest::Mesh m = iotest::MustRead(krtes::ReadObjFile, files.Write("forms.obj", text));
        ASSERT_EQ(m.pts.size(), 5u);
        EXPECT_EQ(m.pts[1].z, 0.5);
        ASSERT_EQ(m.ids.size(), 4u);
        EXPECT_TRUE(Tri(m.ids[0], 0, 1, 2) && Tri(m.ids[1], 0, 2, 3) && Tri(m.ids[2], 1, 4, 2) && Tri(m.ids[3], 1, 4, 2));
    }
    // A face may name a vertex defined further down; a file without faces
    // is a valid OBJ (only ReadMeshFile asks for triangles).
    iotest::Mesh m = iotest::MustRead(krtes::ReadObjFile, files.Write("fwd.obj", "f 1 2 3\nv 0 0 0\nv 1 0 0\nv 0 1 0\n"));
    EXPECT_TRUE(m.ids.size() == 1 && Tri(m.ids[0], 0, 1, 2));
    m = iotest::MustRead(krtes::ReadObjFile, files.Write("v.obj", "v 0 0 0\n"));
    EXPECT_TRUE(m.pts.size() == 1 && m.ids.empty());

    // A cube of side 2 in quads, CRLF line ends, "i/t/n" corners.
    iotest::ExpectSolid(iotest::Foreign("cube_crlf.obj"), 8, 12, 8.0, 24.0);
}

TEST(KrObjFile, ErrorsNameTheFileAndLine)
{
    iotest::Files files;
    const std::string tri = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    iotest::ExpectMeshErrors(files, {
        {"zero.obj", tri + "f 0 1 2\n", "@:4: face index 0"},
        {"far.obj", tri + "\nf 1 2 3\nf 1 2 7\n", "@:6: face index 7 out of range (3 vertices)"},
        {"huge.obj", tri + "f 1 2 99999999999\n", "@:4: face index 99999999999 out of range"},
        {"rel.obj", "v 0 0 0\nv 1 0 0\nf -1 -2 -3\n", "@:3: relative face index -3"},
        {"two.obj", tri + "f 1 2\n", "@:4: face needs at least 3 corners, found 2"},
        {"short.obj", "v 1 2\n", "@:1: vertex needs 3 coordinates, found 2"},
        {"word.obj", "v 0 0 0\r\nv 1 zero 0\r\n", "@:2: 'zero' is not a number"},
        {"nan.obj", "v 0 0 nan\n", "@:1: coordinate is not finite"},
        {"idx.obj", tri + "f 1 2 x/3\n", "@:4: bad face index 'x/3'"},
    });
}
