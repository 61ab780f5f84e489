"""KrTesGeometry for Python: TINs, solid booleans and mesh contact on NumPy arrays.

    >>> import numpy as np, krtes
    >>> tin = krtes.Tin.from_points(np.loadtxt("data/jacksboro_scattered.xyz"))
    >>> tin.elevation([[500.0, 500.0]])

Arrays go in as any real-valued array convertible to float64 (C or Fortran
order; converted once, without a Python loop) and come out as fresh NumPy
copies. Wrong dtypes raise TypeError, wrong shapes ValueError; failures of the
library raise KrtesError (a RuntimeError) with its message. Long work
(triangulation, booleans, batches of elevations) releases the GIL.
"""

from ._krtes import (  # noqa: F401
    HAVE_EARTHWORKS,
    HAVE_LANDXML,
    BooleanError,
    KrtesError,
    SolidError,
    Tin,
    boolean,
    collide,
    read_surface,
)

__all__ = [
    "Tin",
    "read_surface",
    "boolean",
    "collide",
    "KrtesError",
    "SolidError",
    "BooleanError",
    "HAVE_LANDXML",
    "HAVE_EARTHWORKS",
]
