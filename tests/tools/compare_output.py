#!/usr/bin/env python3
"""Runs a program and compares its standard output with a file.

  compare_output.py STATUS EXPECTED PROGRAM [ARGUMENT...]

STATUS is the exit status that the program must end with.
"""
import subprocess
import sys

done = subprocess.run(sys.argv[3:], stdout=subprocess.PIPE, text=True)
expected = open(sys.argv[2]).read()
if done.returncode != int(sys.argv[1]) or done.stdout != expected:
    sys.exit(f"exit status {done.returncode}\n--- expected\n{expected}--- got\n{done.stdout}")
