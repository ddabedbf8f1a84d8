"""Checks that the shared library exports exactly the functions that tarq.h declares.

usage: check_exports.py HEADER LIBRARY
"""

import re
import subprocess
import sys


def main():
    header, library = sys.argv[1:]
    text = re.sub(r"//.*", "", open(header, encoding="utf-8").read())
    text = re.sub(r"^\s*#.*(\\\n.*)*", "", text, flags=re.M)
    declared = set(re.findall(r"\b(tarq_\w+)\s*\((?!\s*\*)", text))
    symbols = subprocess.run(
        ["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True
    ).stdout
    exported = {line.split()[2].split("@")[0] for line in symbols.splitlines() if " T " in line}
    for name in sorted(declared - exported):
        print("declared but not exported:", name)
    for name in sorted(exported - declared):
        print("exported but not declared:", name)
    print(len(declared), "functions declared,", len(exported), "exported")
    return 0 if declared and declared == exported else 1


if __name__ == "__main__":
    sys.exit(main())
