#!/usr/bin/env python3
"""Runs a program and compares its standard output with a file.

  compare_output.py EXPECTED PROGRAM [ARGUMENT...]
"""
import subprocess
import sys

done = subprocess.run(sys.argv[2:], stdout=subprocess.PIPE, text=True)
expected = open(sys.argv[1]).read()
if done.returncode or done.stdout != expected:
    sys.exit(f"exit status {done.returncode}\n--- expected\n{expected}--- got\n{done.stdout}")
