"""Builds the package's module by CMake, with the library in it, from the library's sources: those around this folder,
or those that a source distribution brings in `library`. Nothing is written beside the sources."""

import atexit
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import setuptools
import setuptools.command.build_ext
import setuptools.command.sdist

HERE = pathlib.Path(__file__).resolve().parent
PARTS = ["CMakeLists.txt", "LICENSE", "bindings/CMakeLists.txt", "bindings/python/CMakeLists.txt",
         "bindings/python/core", "bindings/python/fourtapscale", "cmake", "conformance", "include", "processors", "src",
         "variants"]
LIBRARY = HERE / "library" if (HERE / "library").is_dir() else HERE.parent.parent
for part in PARTS:
    if not (LIBRARY / part).exists():
        sys.exit(f"setup.py: {LIBRARY / part} is not there, expected the library's sources around bindings/python, or "
                 "a source distribution, which brings them along")


def version():
    header = (LIBRARY / "include/fourtapscale/FourTapVersion.h").read_text()
    return ".".join(re.search(rf"FOURTAP_VERSION_{name} (\d+)", header)[1] for name in ("MAJOR", "MINOR", "PATCH"))


class BuildModule(setuptools.command.build_ext.build_ext):
    def build_extension(self, extension):
        if sys.platform != "linux":
            sys.exit(f"setup.py: {sys.platform} given, expected Linux, for which the library is written")
        build = pathlib.Path(self.build_temp).resolve()
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        switched_off = [f"-DFOURTAP_BUILD_{what}=OFF" for what in ("BENCH", "BINDINGS", "TESTS", "TOOL")]
        subprocess.run(["cmake", "-S", str(LIBRARY), "-B", str(build), *generator, "-DCMAKE_BUILD_TYPE=Release",
                        "-DFOURTAP_BUILD_PYTHON=ON", f"-DFOURTAP_PYTHON={sys.executable}", *switched_off], check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "fourtapscale_python", "--parallel",
                        str(len(os.sched_getaffinity(0)))], check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(build / "bindings/python/fourtapscale/_core.abi3.so", target)


class WithLibrary(setuptools.command.sdist.sdist):
    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        # Here, it is a link out of the distribution.
        (pathlib.Path(base_dir) / "LICENSE").unlink(missing_ok=True)
        shutil.copy(LIBRARY / "LICENSE", base_dir)
        for part in PARTS:
            source, target = LIBRARY / part, pathlib.Path(base_dir) / "library" / part
            target.parent.mkdir(parents=True, exist_ok=True)
            if source.is_dir():
                shutil.copytree(source, target, ignore=shutil.ignore_patterns("__pycache__"))
            else:
                shutil.copy(source, target)


scratch = tempfile.mkdtemp(prefix="fourtapscale-")
atexit.register(shutil.rmtree, scratch, ignore_errors=True)
setuptools.setup(
    version=version(),
    packages=["fourtapscale"],
    package_data={"fourtapscale": ["py.typed", "*.pyi"]},
    ext_modules=[setuptools.Extension("fourtapscale._core", sources=[], py_limited_api=True)],
    cmdclass={"build_ext": BuildModule, "sdist": WithLibrary},
    options={"bdist_wheel": {"py_limited_api": "cp311"}, "build": {"build_base": scratch},
             "egg_info": {"egg_base": scratch}},
    zip_safe=False)
