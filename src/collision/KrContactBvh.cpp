#include "collision/KrContactBvh.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"

namespace TesTriMesh {
namespace detail {

namespace {

constexpr int kBins = 16;

double HalfArea(const KrAabb& b)
{
    const double dx = b.hi[0] - b.lo[0], dy = b.hi[1] - b.lo[1], dz = b.hi[2] - b.lo[2];
    return dx * dy + dy * dz + dz * dx;
}

void Grow(KrAabb& a, const KrAabb& b)
{
    for (int k = 0; k < 3; ++k) {
        a.lo[k] = std::min(a.lo[k], b.lo[k]);
        a.hi[k] = std::max(a.hi[k], b.hi[k]);
    }
}

KrAabb EmptyBox()
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    return KrAabb{{inf, inf, inf}, {-inf, -inf, -inf}};
}

struct Work {
    int32_t node, begin, end;
    KrAabb box, cbox;  // of the triangles and of their centroids
};

inline void Sub(const double* a, const double* b, double* r)
{
    r[0] = a[0] - b[0];
    r[1] = a[1] - b[1];
    r[2] = a[2] - b[2];
}
inline double Dot(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline void Cross(const double* a, const double* b, double* r)
{
    r[0] = a[1] * b[2] - a[2] * b[1];
    r[1] = a[2] * b[0] - a[0] * b[2];
    r[2] = a[0] * b[1] - a[1] * b[0];
}
inline double Clamp01(double v) { return v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v); }

// Corner p's projection onto the plane of triangle t when it falls inside
// the closed triangle: the squared distance and the foot q; -1 otherwise
// (also for a triangle without area).
double CornerOverFace(const double* p, const double* t, double* q)
{
    double e0[3], e1[3], n[3], d[3];
    Sub(t + 3, t, e0);
    Sub(t + 6, t, e1);
    Cross(e0, e1, n);
    const double nn = Dot(n, n);
    if (!(nn > 0.0)) return -1.0;
    for (int i = 0; i < 3; ++i) {
        const double* a = t + 3 * i;
        const double* b = t + 3 * ((i + 1) % 3);
        double ab[3], ap[3], c[3];
        Sub(b, a, ab);
        Sub(p, a, ap);
        Cross(ab, ap, c);
        if (Dot(c, n) < 0.0) return -1.0;
    }
    Sub(p, t, d);
    const double s = Dot(d, n) / nn;
    q[0] = p[0] - s * n[0];
    q[1] = p[1] - s * n[1];
    q[2] = p[2] - s * n[2];
    return s * s * nn;
}

}  // namespace

KrAabb TriBox(const double* t)
{
    KrAabb b;
    for (int k = 0; k < 3; ++k) {
        b.lo[k] = std::min(t[k], std::min(t[3 + k], t[6 + k]));
        b.hi[k] = std::max(t[k], std::max(t[3 + k], t[6 + k]));
    }
    return b;
}

void CKrContactBvh::Clear()
{
    m_nodes.clear();
    m_slotXyz.clear();
    m_slotTri.clear();
}

void CKrContactBvh::Build(const std::vector<double>& xyz, const std::vector<int32_t>& tri)
{
    Clear();
    const int32_t nt = static_cast<int32_t>(tri.size() / 3);
    if (nt == 0) return;

    std::vector<KrAabb> boxes(static_cast<std::size_t>(nt));
    std::vector<double> cen(static_cast<std::size_t>(nt) * 3);
    for (int32_t i = 0; i < nt; ++i) {
        double t[9];
        for (int c = 0; c < 3; ++c) {
            const double* p = &xyz[static_cast<std::size_t>(tri[3 * static_cast<std::size_t>(i) + c]) * 3];
            t[3 * c] = p[0];
            t[3 * c + 1] = p[1];
            t[3 * c + 2] = p[2];
        }
        boxes[i] = TriBox(t);
        for (int k = 0; k < 3; ++k) cen[3 * static_cast<std::size_t>(i) + k] = 0.5 * (boxes[i].lo[k] + boxes[i].hi[k]);
    }
    std::vector<int32_t> perm(static_cast<std::size_t>(nt));
    for (int32_t i = 0; i < nt; ++i) perm[i] = i;

    m_nodes.reserve(static_cast<std::size_t>(nt) / 2 + 2);
    m_nodes.push_back(KrBvhNode{});
    std::vector<uint8_t> bin(static_cast<std::size_t>(nt));
    // The boxes of a range, for the root and after a split by rank.
    const auto bounds = [&](Work& w) {
        w.box = EmptyBox();
        w.cbox = EmptyBox();
        for (int32_t i = w.begin; i < w.end; ++i) {
            const int32_t t = perm[i];
            Grow(w.box, boxes[t]);
            const double* c = &cen[3 * static_cast<std::size_t>(t)];
            Grow(w.cbox, KrAabb{{c[0], c[1], c[2]}, {c[0], c[1], c[2]}});
        }
    };
    std::vector<Work> stack;
    Work root{0, 0, nt, {}, {}};
    bounds(root);
    stack.push_back(root);

    while (!stack.empty()) {
        const Work w = stack.back();
        stack.pop_back();
        const KrAabb& cbox = w.cbox;
        KrBvhNode& node = m_nodes[w.node];
        node.box = w.box;
        const int32_t count = w.end - w.begin;
        if (count <= kLeafSize) {
            node.first = w.begin;
            node.count = count;
            continue;
        }
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (cbox.hi[k] - cbox.lo[k] > cbox.hi[axis] - cbox.lo[axis]) axis = k;
        const double lo = cbox.lo[axis], ext = cbox.hi[axis] - lo;
        int32_t mid = w.begin;
        Work left{0, 0, 0, EmptyBox(), EmptyBox()}, right = left;
        if (ext > 0.0) {
            // Binned surface-area split along the widest centroid axis; the
            // bins also give the children's boxes.
            const double scale = kBins / ext;
            int32_t binCount[kBins] = {};
            KrAabb binBox[kBins], binCen[kBins];
            for (int b = 0; b < kBins; ++b) binBox[b] = binCen[b] = EmptyBox();
            for (int32_t i = w.begin; i < w.end; ++i) {
                const int32_t t = perm[i];
                const double* c = &cen[3 * static_cast<std::size_t>(t)];
                int b = static_cast<int>((c[axis] - lo) * scale);
                b = std::min(std::max(b, 0), kBins - 1);
                bin[t] = static_cast<uint8_t>(b);
                ++binCount[b];
                Grow(binBox[b], boxes[t]);
                Grow(binCen[b], KrAabb{{c[0], c[1], c[2]}, {c[0], c[1], c[2]}});
            }
            double rightArea[kBins];
            int32_t rightCount[kBins];
            KrAabb acc = EmptyBox();
            int32_t n = 0;
            for (int b = kBins - 1; b > 0; --b) {
                if (binCount[b]) Grow(acc, binBox[b]);
                n += binCount[b];
                rightArea[b] = n ? HalfArea(acc) : 0.0;
                rightCount[b] = n;
            }
            acc = EmptyBox();
            n = 0;
            double bestCost = std::numeric_limits<double>::infinity();
            int bestSplit = -1;
            for (int b = 0; b < kBins - 1; ++b) {
                if (binCount[b]) Grow(acc, binBox[b]);
                n += binCount[b];
                if (n == 0 || rightCount[b + 1] == 0) continue;
                const double cost = n * HalfArea(acc) + rightCount[b + 1] * rightArea[b + 1];
                if (cost < bestCost) {
                    bestCost = cost;
                    bestSplit = b;
                }
            }
            if (bestSplit >= 0) {
                mid = static_cast<int32_t>(
                    std::partition(perm.begin() + w.begin, perm.begin() + w.end,
                                   [&](int32_t t) { return bin[t] <= bestSplit; }) -
                    perm.begin());
                for (int b = 0; b < kBins; ++b) {
                    if (!binCount[b]) continue;
                    Work& side = b <= bestSplit ? left : right;
                    Grow(side.box, binBox[b]);
                    Grow(side.cbox, binCen[b]);
                }
            }
        }
        const int32_t first = static_cast<int32_t>(m_nodes.size());
        left.node = first;
        left.begin = w.begin;
        left.end = mid;
        right.node = first + 1;
        right.begin = mid;
        right.end = w.end;
        if (mid <= w.begin || mid >= w.end) {
            // Centroids that cannot be told apart along the axis: halve by
            // rank (index breaks ties, so the split is reproducible).
            mid = w.begin + count / 2;
            std::nth_element(perm.begin() + w.begin, perm.begin() + mid, perm.begin() + w.end,
                             [&](int32_t a, int32_t b) {
                                 const double ca = cen[3 * static_cast<std::size_t>(a) + axis];
                                 const double cb = cen[3 * static_cast<std::size_t>(b) + axis];
                                 return ca < cb || (ca == cb && a < b);
                             });
            left.end = right.begin = mid;
            bounds(left);
            bounds(right);
        }
        m_nodes[w.node].first = first;
        m_nodes[w.node].count = 0;
        m_nodes.push_back(KrBvhNode{});
        m_nodes.push_back(KrBvhNode{});
        stack.push_back(right);
        stack.push_back(left);
    }

    // Leaves list their triangles by index; slots take the corners in that
    // order. Children come after their parent, so one backward pass gives
    // every subtree's smallest index.
    m_slotXyz.resize(static_cast<std::size_t>(nt) * 9);
    m_slotTri.resize(static_cast<std::size_t>(nt));
    for (std::size_t n = m_nodes.size(); n-- > 0;) {
        KrBvhNode& node = m_nodes[n];
        if (node.count > 0) {
            std::sort(perm.begin() + node.first, perm.begin() + node.first + node.count);
            node.minTri = perm[node.first];
        } else {
            node.minTri = std::min(m_nodes[node.first].minTri, m_nodes[node.first + 1].minTri);
        }
        node.pad = 0;
    }
    for (int32_t s = 0; s < nt; ++s) {
        const int32_t t = perm[s];
        m_slotTri[s] = t;
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k)
                m_slotXyz[9 * static_cast<std::size_t>(s) + 3 * c + k] =
                    xyz[static_cast<std::size_t>(tri[3 * static_cast<std::size_t>(t) + c]) * 3 + k];
    }
}

double ClosestTriTriApart(const double* a, const double* b, double* ca, double* cb)
{
    double best = std::numeric_limits<double>::infinity();
    double x[3], y[3];
    for (int i = 0; i < 3; ++i) {
        const double* p1 = a + 3 * i;
        const double* q1 = a + 3 * ((i + 1) % 3);
        for (int j = 0; j < 3; ++j) {
            const double d2 = ClosestSegSeg(p1, q1, b + 3 * j, b + 3 * ((j + 1) % 3), x, y);
            if (d2 < best) {
                best = d2;
                std::copy(x, x + 3, ca);
                std::copy(y, y + 3, cb);
            }
        }
    }
    for (int i = 0; i < 3; ++i) {
        double d2 = CornerOverFace(b + 3 * i, a, x);
        if (d2 >= 0.0 && d2 < best) {
            best = d2;
            std::copy(x, x + 3, ca);
            std::copy(b + 3 * i, b + 3 * i + 3, cb);
        }
        d2 = CornerOverFace(a + 3 * i, b, y);
        if (d2 >= 0.0 && d2 < best) {
            best = d2;
            std::copy(a + 3 * i, a + 3 * i + 3, ca);
            std::copy(y, y + 3, cb);
        }
    }
    return best;
}

namespace {

// Whether the corners are certainly not collinear: the rounded normal is
// far larger than its rounding error (about 8 ulp of the edge products).
// False answers are left to the exact test.
bool ClearlyProper(const double* t)
{
    double e1[3], e2[3], m1 = 0.0, m2 = 0.0;
    for (int k = 0; k < 3; ++k) {
        e1[k] = t[3 + k] - t[k];
        e2[k] = t[6 + k] - t[k];
        m1 = std::max(m1, std::fabs(e1[k]));
        m2 = std::max(m2, std::fabs(e2[k]));
    }
    const double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
    const double big = std::max(std::fabs(n[0]), std::max(std::fabs(n[1]), std::fabs(n[2])));
    const double scale = m1 * m2;
    return scale > 1e-250 && big > 1e-10 * scale;  // tiny edges: let the exact test decide
}

}  // namespace

bool TrianglesMeet(const double* a, const double* b)
{
    // A corner in common is a point in common: meshes that touch at a
    // shared vertex (the usual way two solids are placed against each
    // other) are decided here, without the predicates that degenerate there.
    // Only for proper triangles: a collinear one meets nothing.
    for (int i = 0; i < 9; i += 3)
        for (int j = 0; j < 9; j += 3)
            if (a[i] == b[j] && a[i + 1] == b[j + 1] && a[i + 2] == b[j + 2])
                if (ClearlyProper(a) && ClearlyProper(b)) return true;
    const CKrPoint3d A[3] = {CKrPoint3d(a[0], a[1], a[2]), CKrPoint3d(a[3], a[4], a[5]),
                             CKrPoint3d(a[6], a[7], a[8])};
    const CKrPoint3d B[3] = {CKrPoint3d(b[0], b[1], b[2]), CKrPoint3d(b[3], b[4], b[5]),
                             CKrPoint3d(b[6], b[7], b[8])};
    // All of one triangle strictly on one side of the other's plane: apart.
    // (Exact signs; a collinear triangle gives zeros and goes on to the full
    // test, which rejects it.)
    const int s0 = KrTesGeo::Orient3dExact(A[0], A[1], A[2], B[0]);
    const int s1 = KrTesGeo::Orient3dExact(A[0], A[1], A[2], B[1]);
    const int s2 = KrTesGeo::Orient3dExact(A[0], A[1], A[2], B[2]);
    if (s0 * s1 > 0 && s1 * s2 > 0) return false;
    const int t0 = KrTesGeo::Orient3dExact(B[0], B[1], B[2], A[0]);
    const int t1 = KrTesGeo::Orient3dExact(B[0], B[1], B[2], A[1]);
    const int t2 = KrTesGeo::Orient3dExact(B[0], B[1], B[2], A[2]);
    if (t0 * t1 > 0 && t1 * t2 > 0) return false;
    return CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(A[0], A[1], A[2], B[0], B[1], B[2]) == 2;
}

}  // namespace detail
}  // namespace TesTriMesh
