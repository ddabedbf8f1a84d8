#!/usr/bin/env python3
"""Checks the layering of the source folders.

A file below src/ may include headers of its own folder and of the folders that src/CMakeLists.txt
lets it build on; a header never looks upward, a .cpp only where scripts/include_seams.txt names the
pair with a reason. Further: nobody includes headers of api, tests/x sees x and what x builds on,
examples see tarq.h alone, a .cpp includes its own header first, every header has #pragma once, and
no header says `using namespace`. Prints each violation as file:line and exits 1 if there is any.
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
MAX_SEAMS = 10


def folder_graph():
    """Returns {folder: set of all folders below it}, read from the calls of tarq_folder."""
    below = {}
    text = (ROOT / "src/CMakeLists.txt").read_text()
    for name, rest in re.findall(r"^tarq_folder\(([\w/]+)([^)]*)\)", text, re.M):
        direct = rest.split()
        for lower in direct:
            if lower not in below:
                sys.exit(f"src/CMakeLists.txt: {name} builds on {lower}, which stands later or nowhere")
        below[name] = set(direct).union(*(below[lower] for lower in direct))
    return below


def seams():
    """Returns the set of (including .cpp, included header) that look upward on purpose."""
    rows = set()
    for line in (ROOT / "scripts/include_seams.txt").read_text().splitlines():
        line = line.split("#")[0].strip()
        if line:
            words = line.split(None, 2)
            if len(words) < 3:
                sys.exit(f"scripts/include_seams.txt: '{line}' lacks a reason")
            rows.add((words[0], words[1]))
    if len(rows) > MAX_SEAMS:
        sys.exit(f"scripts/include_seams.txt: {len(rows)} rows, at most {MAX_SEAMS} are meant")
    return rows


class Checker:
    def folder_of(self, name):
        """The longest known folder that the path `name` (relative to src or tests) stands in."""
        parts = name.split("/")[:-1]
        while parts and "/".join(parts) not in self.below:
            parts.pop()
        return "/".join(parts)

    def __init__(self):
        self.below = folder_graph()
        self.seams = seams()
        self.used = set()
        self.count = 0

    def complain(self, path, line, text):
        print(f"{path.relative_to(ROOT)}:{line}: {text}")
        self.count += 1

    def includes(self, path):
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            m = INCLUDE.match(line)
            if m:
                yield number, m.group(1) == '"', m.group(2)

    def source(self, path):
        """One file of src/FOLDER."""
        folder = self.folder_of(str(path.relative_to(ROOT / "src")))
        first = True
        for line, quoted, name in self.includes(path):
            target = self.folder_of(name)
            if quoted and target and target not in self.below[folder] | {folder}:
                row = (str(path.relative_to(ROOT)), name)
                if path.suffix == ".cpp" and row in self.seams:
                    self.used.add(row)
                else:
                    self.complain(path, line, f"{folder} must not include {name}")
            if quoted and target == "api" and folder != "api":
                self.complain(path, line, "nobody includes headers of api")
            own = path.with_suffix(".h")
            if first and path.suffix == ".cpp" and own.exists():
                if name != str(own.relative_to(ROOT / "src")):
                    self.complain(path, line, f"the own header {own.name} comes first")
            if quoted and "/" not in name and (path.parent / name).exists():
                self.complain(path, line, f"write {folder}/{name}, relative to src")
            first = False
        if path.suffix == ".h":
            self.header(path)

    def header(self, path):
        text = path.read_text(errors="replace")
        if "#pragma once" not in text:
            self.complain(path, 1, "no #pragma once")
        for number, line in enumerate(text.splitlines(), 1):
            if re.match(r"\s*using namespace\b", line):
                self.complain(path, number, "using namespace in a header")
        if not text.startswith("//"):
            self.complain(path, 1, "no file comment on the first line")

    def test(self, path):
        """One file of tests/FOLDER, where FOLDER is also a folder of src."""
        folder = self.folder_of(str(path.relative_to(ROOT / "tests")))
        for line, quoted, name in self.includes(path):
            target = self.folder_of(name)
            if quoted and target and target not in self.below[folder] | {folder}:
                self.complain(path, line, f"the tests of {folder} must not include {name}")

    def example(self, path):
        for line, quoted, name in self.includes(path):
            if quoted or (name.startswith("tarq") and name != "tarq.h"):
                self.complain(path, line, "an example includes <tarq.h> and system headers only")

    def run(self):
        for path in sorted((ROOT / "src").rglob("*")):
            if path.suffix in (".h", ".cpp") and path.parent != ROOT / "src":
                self.source(path)
        for path in sorted((ROOT / "tools").rglob("*.h")):
            self.header(path)
        for path in sorted((ROOT / "tests").rglob("*")):
            if path.suffix in (".h", ".cpp") and self.folder_of(str(path.relative_to(ROOT / "tests"))):
                self.test(path)
        for path in sorted((ROOT / "examples").rglob("*.c")) + sorted((ROOT / "examples").rglob("*.cpp")):
            self.example(path)
        for row in sorted(self.seams - self.used):
            print(f"scripts/include_seams.txt: {row[0]} does not include {row[1]}: remove the row")
            self.count += 1
        return 1 if self.count else 0


if __name__ == "__main__":
    sys.exit(Checker().run())
