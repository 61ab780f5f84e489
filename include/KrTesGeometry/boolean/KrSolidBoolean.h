#ifndef KRTES_KRSOLIDBOOLEAN_H
#define KRTES_KRSOLIDBOOLEAN_H

#include <vector>

#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/boolean/KrBooleanDiagnostics.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

class CGeDataTriMesh;

namespace TesTriMesh {

// Union, intersection and differences of two closed, consistently oriented
// triangulated solids A and B.
//
// All geometric work happens at construction: both surfaces are cut along
// their intersection and each one's triangles are sorted against the other
// solid (CKrMeshBoolean::ClassifyMesh_New). The operations then only pick
// lists of sorted triangles, flip some of them for the differences, and
// write the picked triangles into a result mesh.
//
// With the exact cut (CKrMeshBoolean::SetCutEngine), a B triangle the
// second sort finds lying on A where A's triangle there was sorted outside
// or inside is a sliver that merging laid onto A after the first sort: it
// is sorted to the other side of that A triangle (when one shares an edge
// with it in its plane) or with its B neighbour across an edge A does not
// have, so that every operation takes such a patch once or not at all.
//
// Every construction writes the eight diagnostic text files named in
// kBooleanDiagnosticFiles, each created anew, in that order: the segments of
// the first sort, A's outside, inside and same-facing triangles, then the
// same four for B. A segment is one line "x1,y1,z1,x2,y2,z2", a triangle one
// line of its nine corner coordinates, all with three decimals. The lists,
// and so the files and every composed result, depend only on the two
// surfaces, not on the memory the process handed their records. Where the
// path has no drive, the names are files in the working
// directory. A file that cannot be opened is skipped silently.
class KRTES_API CKrSolidBoolean {
public:
    // Classifies the caller's meshes in place (both are cut). They must
    // outlive this object and stay unchanged while it is used.
    CKrSolidBoolean(CKrMeshData& meshA, CKrMeshData& meshB);
    // Copies both solids into meshes of this object and runs a temporary
    // object of the first kind over the copies, which classifies them and
    // writes the diagnostic files; its lists go with it, so every operation
    // of an object built this way composes an empty result.
    CKrSolidBoolean(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB);
    virtual ~CKrSolidBoolean();
    CKrSolidBoolean(const CKrSolidBoolean&) = delete;
    CKrSolidBoolean& operator=(const CKrSolidBoolean&) = delete;

    // Flip (_sTri::Invert) every triangle of a list, from the last to the first.
    void InvertAInsideTris();
    void InvertAOppositeTris();
    void InvertBInsideTris();

    // Codes: 1 outside, 2 inside, 3 same, 4 opposite. The A part holds the
    // A lists named by either A code (inside, outside, same, opposite, in
    // this order, each once); the B part the one B list of bCode (opposite
    // for any code other than 1, 2, 3). The part with more distinct vertices
    // is loaded into result first (B on a tie), the other added to it, so
    // that the shared seam vertices merge: each corner of the second part
    // goes to the nearest vertex of the first closer than g_dVerTol. The
    // merging is done before the import, so that the result's vertex set
    // is never asked to find an equivalent vertex (its tolerant lookup can
    // miss one among many vertices of nearly equal x). Overwrites the nID
    // of the vertices used. Always true.
    bool ComposeSolid(int aCode1, int aCode2, int bCode, CKrMeshData& result);

    bool Union_A_And_B(CKrMeshData& result);      // A outside + A same + B outside
    bool Intersect_A_And_B(CKrMeshData& result);  // A inside + A same + B inside
    // A minus B: A outside + A opposite + B inside flipped.
    bool Diference_A_And_B(CKrMeshData& result);
    // B minus A: A inside and A opposite flipped + B outside.
    bool Diference_B_And_A(CKrMeshData& result);

    // Whether both sorts succeeded (CKrMeshBoolean::ClassifyMesh_New
    // returned true for A against B and for B against A). When not, the
    // lists are still filled, but an operation composed from them may be
    // open, inside out or wrong in volume. A true answer does not prove a
    // result sound: where the surfaces cross along lines closer together
    // than the merge tolerance, the merging can still leave a result open or
    // folded. Hosts that must be sure check the result they compose with
    // CheckClosedSolid and FindSelfIntersections (as `krtes boolean` does).
    bool IsClassified() const { return m_bClassifiedA && m_bClassifiedB; }
    bool IsAClassified() const { return m_bClassifiedA; }  // A's triangles against B
    bool IsBClassified() const { return m_bClassifiedB; }  // B's triangles against A

    const std::vector<_sTri*>& AInside() const { return m_vecAInside; }
    const std::vector<_sTri*>& AOutside() const { return m_vecAOutside; }
    const std::vector<_sTri*>& ASame() const { return m_vecASame; }
    const std::vector<_sTri*>& AOpposite() const { return m_vecAOpposite; }
    const std::vector<_sTri*>& AFifth() const { return m_vecAFifth; }
    const std::vector<_sTri*>& BInside() const { return m_vecBInside; }
    const std::vector<_sTri*>& BOutside() const { return m_vecBOutside; }
    const std::vector<_sTri*>& BSame() const { return m_vecBSame; }
    const std::vector<_sTri*>& BOpposite() const { return m_vecBOpposite; }
    const std::vector<_sTri*>& BFifth() const { return m_vecBFifth; }

private:
    static void InvertList(std::vector<_sTri*>& tris);

    std::vector<_sTri*> m_vecAInside;
    std::vector<_sTri*> m_vecAOutside;
    std::vector<_sTri*> m_vecASame;
    std::vector<_sTri*> m_vecAOpposite;
    std::vector<_sTri*> m_vecAFifth;
    std::vector<_sTri*> m_vecBInside;
    std::vector<_sTri*> m_vecBOutside;
    std::vector<_sTri*> m_vecBSame;
    std::vector<_sTri*> m_vecBOpposite;
    std::vector<_sTri*> m_vecBFifth;
    CKrMeshData m_meshA;  // own copies (second constructor only)
    CKrMeshData m_meshB;
    bool m_bClassifiedA = false;
    bool m_bClassifiedB = false;
};

}  // namespace TesTriMesh

#endif
