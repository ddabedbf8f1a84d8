#!/usr/bin/env python3
"""Installs a build tree to a fresh prefix and embeds the result the two ways the README shows.

  run.py BUILD_DIR SOURCE_DIR

The C example is compiled with the flags of pkg-config (shared, and static) and as a CMake project
that calls find_package; each program must print the answers the example promises, and the installed
`tarq` must answer a script. The prefix is moved once, since the package is meant to be relocatable.
"""
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CMAKELISTS = """
cmake_minimum_required(VERSION 3.25)
project(embedding LANGUAGES C CXX)
find_package(tarq 0.1 REQUIRED)
foreach(kind tarq tarq_static)
  add_executable(with_${kind} %s)
  target_link_libraries(with_${kind} PRIVATE tarq::${kind})
  set_target_properties(with_${kind} PROPERTIES LINKER_LANGUAGE CXX)
endforeach()
"""


def run(*command, env=None):
    done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, env=env)
    if done.returncode:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{done.stdout}")
    return done.stdout


def main(build, source):
    example = source / "examples" / "first.c"
    expected = (source / "examples" / "first.expected").read_text()
    with tempfile.TemporaryDirectory() as tmp:
        tmp = Path(tmp)
        run("cmake", "--install", build, "--prefix", tmp / "first")
        prefix = tmp / "moved"
        shutil.move(tmp / "first", prefix)
        pc = next(prefix.rglob("tarq.pc"))
        libdir = pc.parent.parent
        env = dict(os.environ, PKG_CONFIG_PATH=str(pc.parent), LD_LIBRARY_PATH=str(libdir))

        flags = run("pkg-config", "--cflags", "--libs", "tarq", env=env).split()
        run("cc", example, *flags, "-o", tmp / "shared")
        assert run(tmp / "shared", env=env) == expected, "shared, by pkg-config"

        static = run("pkg-config", "--static", "--cflags", "--libs", "tarq", env=env).split()
        static = [libdir / "libtarq.a" if flag == "-ltarq" else flag for flag in static]
        run("cc", example, *static, "-o", tmp / "static")
        assert run(tmp / "static") == expected, "static, by pkg-config"

        project = tmp / "project"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(CMAKELISTS % example)
        run("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={prefix}")
        run("cmake", "--build", project / "build")
        for kind in ("tarq", "tarq_static"):
            assert run(project / "build" / f"with_{kind}") == expected, f"{kind}, by find_package"

        script = source / "examples" / "incremental.smt2"
        answers = run(prefix / "bin" / "tarq", script)
        assert answers == (source / "examples" / "incremental.smt2.expected").read_text(), answers


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
