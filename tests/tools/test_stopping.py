#!/usr/bin/env python3
"""Time and memory limits, and signals: the run ends with `unknown`, can be asked why, and still prints
its statistics. Nothing here measures time; a run that does not stop runs into the patience of the tests.
"""
import signal
import time
import unittest

from tool import PATIENCE, TestCase, pigeons, script, start, tarq

# No solver of this kind decides it within any patience.
HARD = script(pigeons(30, 29), '(check-sat)\n(get-info :reason-unknown)\n(echo "end")\n')


class Limits(TestCase):
    def test_the_time_limit_answers_unknown(self):
        done = tarq("--timeout", "0.5", "--stats", self.file("hard.smt2", HARD))
        self.assertEqual(done.lines[:3], ["unknown", "(:reason-unknown timeout)", '"end"'], done.err)
        self.assertRegex(done.out, r"; :sat-conflicts [1-9]")
        self.assertEqual(done.status, 0)

    def test_the_memory_limit_answers_unknown(self):
        # The limit is passed while the clauses are read, or soon after.
        done = tarq("--memory-limit", "6", self.file("hard.smt2", HARD))
        self.assertIn("unknown", done.lines, done.err)
        self.assertNotIn("sat", done.lines)
        self.assertEqual(done.status, 0)

    def test_generous_limits_change_nothing(self):
        done = tarq("--timeout", "1000", "--memory-limit", "100000", text="(check-sat)(assert false)(check-sat)")
        self.assertEqual((done.lines, done.status), (["sat", "unsat"], 0))

    def test_every_check_after_the_stop_is_unknown(self):
        done = tarq("--timeout", "0.5", self.file("hard.smt2", HARD + "(reset)(check-sat)(get-info :reason-unknown)"))
        self.assertEqual(done.lines[3:], ["unknown", "(:reason-unknown timeout)"])

    def test_a_limit_inside_one_long_command(self):
        # A huge assertion: the stop comes while it is read, parsed or encoded.
        text = "(declare-const a Bool)(declare-const b Bool)(assert (and "
        text += " ".join(f"(or a (xor b (and a {'(not b)' if i % 3 else 'b'})))" for i in range(300_000))
        path = self.file("long.smt2", text + "))(check-sat)(echo \"end\")")
        done = tarq("--timeout", "0.05", path)
        self.assertEqual(done.lines[0], "unknown", done.err)
        self.assertEqual(done.status, 0)

    def test_a_limit_between_many_small_commands(self):
        path = self.file("many.smt2", "(push)(assert true)(pop)" * 400_000 + "(check-sat)")
        done = tarq("--timeout", "0.05", path)
        self.assertEqual((done.lines, done.status), (["unknown"], 0), done.err)

    def test_a_limit_while_waiting_for_input(self):
        process = start("--timeout", "0.3", "--stats")
        process.stdin.write(b"(check-sat)\n")
        process.stdin.flush()
        self.assertEqual(process.wait(PATIENCE), 0)
        out = process.stdout.read()
        self.assertTrue(out.startswith(b"sat\n; :cnf-variables"), out)
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()


class Signals(TestCase):
    def run_and_kill(self, which, *args):
        process = start(*args, self.file("hard.smt2", '(echo "started")' + HARD))
        self.assertEqual(process.stdout.readline(), b'"started"\n')
        time.sleep(0.3)
        process.send_signal(which)
        out, err = process.communicate(timeout=PATIENCE)
        return out.decode().splitlines(), err.decode(), process.returncode

    def test_sigint_and_sigterm_stop_the_search_and_print_statistics(self):
        for which in (signal.SIGINT, signal.SIGTERM):
            out, err, status = self.run_and_kill(which, "--stats")
            self.assertEqual(out[:3], ["unknown", "(:reason-unknown interrupted)", '"end"'], err)
            self.assertTrue(any(line.startswith("; :sat-conflicts") for line in out), out)
            self.assertEqual(status, 0)

    def test_sigint_in_shallow_mode(self):
        out, err, _ = self.run_and_kill(signal.SIGINT, "--shallow")
        self.assertEqual(out, ["unknown", "(:reason-unknown interrupted)", '"end"'], err)

    def test_sigint_while_waiting_for_input_ends_the_run(self):
        process = start("--stats")
        process.stdin.write(b'(echo "ready")\n')
        process.stdin.flush()
        self.assertEqual(process.stdout.readline(), b'"ready"\n')
        time.sleep(0.1)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), 0)
        self.assertTrue(process.stdout.read().startswith(b"; :cnf-variables"))
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()


if __name__ == "__main__":
    unittest.main()
