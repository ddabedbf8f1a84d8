#!/usr/bin/env python3
"""Input that comes piece by piece: a program at the other end of a pipe waits for each answer."""
import os
import select
import unittest

from tool import TestCase, start


class Interaction(TestCase):
    def test_each_answer_comes_before_the_next_command(self):
        process = start("-")
        try:
            for command, answer in ((b"(declare-const a Bool)(assert a)(check-sat)", b"sat\n"),
                                    (b'\n(echo "x")', b'"x"\n'),
                                    (b"(push)(assert (not a))(check-sat)", b"unsat\n"),
                                    (b"(pop 1)(check-sat) ; comment", b"sat\n")):
                process.stdin.write(command)
                process.stdin.flush()
                ready, _, _ = select.select([process.stdout], [], [], 60)
                self.assertTrue(ready, command)
                self.assertEqual(os.read(process.stdout.fileno(), 100), answer)
            process.stdin.close()
            self.assertEqual(process.wait(60), 0)
        finally:
            process.kill()
            process.wait()
            process.stdout.close()
            process.stderr.close()

    def test_a_command_may_come_byte_by_byte(self):
        process = start()
        for byte in b"(declare-const a Bool)\n(check-sat-assuming ((not a)))":
            process.stdin.write(bytes([byte]))
            process.stdin.flush()
        out, _ = process.communicate(timeout=60)
        self.assertEqual((out, process.returncode), (b"sat\n", 0))


if __name__ == "__main__":
    unittest.main()
