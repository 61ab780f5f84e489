#ifndef KRTES_TEST_KRSPACEMATHCOMMON_H
#define KRTES_TEST_KRSPACEMATHCOMMON_H

#include <gtest/gtest.h>

#include "geom/KrPoint3d.h"

// p and q within tol of each other (0 asks for the very same coordinates).
inline ::testing::AssertionResult Near(const CKrPoint3d& p, const CKrPoint3d& q, double tol = 1e-9)
{
    if (p.Distance(q) <= tol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << p.x << ", " << p.y << ", " << p.z << ") vs (" << q.x << ", "
                                         << q.y << ", " << q.z << ")";
}

#endif
