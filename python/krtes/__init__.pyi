"""Type stubs of the krtes package (the compiled module krtes._krtes)."""

from os import PathLike
from typing import Callable, Literal, Sequence, TypedDict, Union, overload

import numpy as np
import numpy.typing as npt

HAVE_LANDXML: bool
HAVE_EARTHWORKS: bool

class KrtesError(RuntimeError):
    """A library operation failed; the message says why (file and line for readers)."""

class SolidError(ValueError):
    """A solid given to boolean() is not closed and consistently oriented."""

class BooleanError(KrtesError):
    """The boolean could not sort the two solids' triangles, or its result is not closed."""

_Coords = npt.ArrayLike  # (n, 3) real numbers
_Plan = npt.ArrayLike  # (n, 2) or (n, 3) real numbers; z ignored
_Indices = npt.ArrayLike  # (m, 3) integers
_Mesh = tuple[_Coords, _Indices]
_Path = Union[str, "PathLike[str]"]

class VolumeResult(TypedDict):
    cut: float
    fill: float
    net: float
    cut_area: float
    fill_area: float

class CollideResult(TypedDict):
    contact: bool
    distance: float
    point_a: npt.NDArray[np.float64] | None
    point_b: npt.NDArray[np.float64] | None
    triangle_a: int | None
    triangle_b: int | None

class Tin:
    """A triangulated surface; immutable once built."""

    @staticmethod
    def from_points(
        xyz: _Coords,
        breaklines: Sequence[_Coords] | None = None,
        outline: _Coords | None = None,
        holes: Sequence[_Coords] | None = None,
        tolerance: float = 0.01,
        full_hull: bool = True,
        progress: Callable[[int, int], object] | None = None,
    ) -> Tin:
        """Constrained Delaunay TIN of (n, 3) survey points."""
    @staticmethod
    def from_arrays(vertices: _Coords, triangles: _Indices, tolerance: float = 0.01) -> Tin:
        """A surface of given vertices and triangles."""
    @property
    def vertices(self) -> npt.NDArray[np.float64]:
        """(n, 3) float64, a fresh copy at every access."""
    @property
    def triangles(self) -> npt.NDArray[np.int32]:
        """(m, 3) int32 vertex indices, counter-clockwise, a fresh copy at every access."""
    @property
    def vertex_count(self) -> int: ...
    @property
    def triangle_count(self) -> int: ...
    @overload
    def elevation(self, xy: tuple[float, float]) -> float: ...
    @overload
    def elevation(self, xy: _Plan) -> npt.NDArray[np.float64]: ...
    def elevation(self, xy: _Plan) -> npt.NDArray[np.float64] | float:
        """Heights under (m, 2) plan points; NaN off the surface."""
    def outline(self) -> list[npt.NDArray[np.float64]]:
        """Border loops, (k, 3) each, first point not repeated."""
    @overload
    def drape(self, lines: npt.NDArray[np.floating], closed: bool = False) -> list[npt.NDArray[np.float64]]: ...
    @overload
    def drape(
        self, lines: Sequence[_Plan], closed: bool = False
    ) -> list[list[npt.NDArray[np.float64]]]: ...
    def contours(
        self, interval: float, base: float = 0.0, index_every: int = 0
    ) -> list[tuple[float, npt.NDArray[np.float64], bool, bool]]:
        """(level, points, closed, is_index) per contour line (when HAVE_EARTHWORKS)."""
    def volume_to(self, other: Tin | float, boundary: _Plan | None = None) -> VolumeResult:
        """Cut and fill against another Tin or a level (when HAVE_EARTHWORKS)."""
    def to_landxml(self, path: _Path, name: str = "surface") -> None:
        """Writes a LandXML TIN (when HAVE_LANDXML)."""

def read_surface(path: _Path) -> Tin:
    """A mesh file, LandXML surface, elevation grid or triangulated point file."""

def boolean(
    a: _Mesh,
    b: _Mesh,
    op: Literal["union", "intersection", "a-minus-b", "b-minus-a"],
    tolerance: float = 0.01,
) -> tuple[npt.NDArray[np.float64], npt.NDArray[np.int32]]:
    """Union, intersection or difference of two closed solids."""

def collide(a: _Mesh, b: _Mesh) -> CollideResult:
    """Exact contact and true distance between two triangle meshes."""
