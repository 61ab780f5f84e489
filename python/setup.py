"""Builds the krtes package with the project's CMake and installs it.

    pip install --no-build-isolation ./python     (from the repository root)

CMake configures the whole project with static libraries (so the module
carries the library inside it), builds only the _krtes target and the
package is assembled from python/krtes/ and the built module. The build tree
goes under the repository's build/pip/, never into the sources.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
SCRATCH = ROOT / "build" / "pip"


def project_version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(KrTesGeometry VERSION ([0-9.]+)", text).group(1)


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        target_dir = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        tree = SCRATCH / "cmake"
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.check_call([
            "cmake", "-S", str(ROOT), "-B", str(tree),
            "-DCMAKE_BUILD_TYPE=Release",
            "-DBUILD_SHARED_LIBS=OFF",
            "-DKRTES_BUILD_TESTS=OFF", "-DKRTES_BUILD_TOOLS=OFF", "-DKRTES_BUILD_BENCH=OFF",
            "-DKRTES_BUILD_PYTHON=ON",
            f"-DPython3_EXECUTABLE={sys.executable}",
        ])
        subprocess.check_call(["cmake", "--build", str(tree), "--target", "_krtes", "-j", jobs])
        built = sorted((tree / "python" / "krtes").glob("_krtes*.so"))
        if not built:
            raise RuntimeError("CMake did not build the _krtes module: are pybind11 (pybind11-dev) and NumPy "
                               "installed for " + sys.executable + "?")
        target_dir.mkdir(parents=True, exist_ok=True)
        shutil.copy2(built[0], self.get_ext_fullpath(ext.name))


SCRATCH.mkdir(parents=True, exist_ok=True)
setup(
    name="krtes",
    version=project_version(),
    description="KrTesGeometry on NumPy arrays: TINs, solid booleans and mesh contact",
    python_requires=">=3.8",
    install_requires=["numpy"],
    packages=["krtes"],
    package_dir={"krtes": "krtes"},
    package_data={"krtes": ["__init__.pyi", "py.typed"]},
    ext_modules=[CMakeExtension("krtes._krtes")],
    cmdclass={"build_ext": CMakeBuild},
    options={"build": {"build_base": str(SCRATCH / "setuptools")},
             "egg_info": {"egg_base": str(SCRATCH)}},
    zip_safe=False,
)
