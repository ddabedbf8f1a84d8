#!/usr/bin/env python3
"""The command line and the options of scripts."""
import re
import unittest

from tool import TestCase, tarq


class CommandLine(TestCase):
    def test_help_names_every_option(self):
        done = tarq("--help")
        self.assertEqual(done.status, 0)
        for name in ("--config", "--config-file", "--print-options", "--stats", "--model", "--timeout", "--shallow",
                     "--memory-limit", "--seed", "--version", "--help", "--dimacs", "--collect"):
            self.assertRegex(done.out, rf"{name}\b")

    def test_model_prints_a_model_after_each_sat(self):
        script = ("(declare-const p Bool)(assert p)(check-sat)(push 1)(assert (not p))(check-sat)(pop 1)"
                  "(declare-const q Bool)(check-sat)")
        model = "(\n  (define-fun p () Bool true)\n"
        done = tarq("--model", text=script)
        self.assertEqual(done.out, f"sat\n{model})\nunsat\nsat\n{model}"
                         "  (define-fun q () Bool false)\n)\n")
        formula = tarq("--model", "--config", "printer.model_as_formula=true", text=script)
        self.assertEqual(formula.lines[:3], ["sat", "(and true", "  (= p true))"])

    def test_collections_change_no_answer_and_no_count_of_checks(self):
        rounds = ["(push 1)(assert (= (+ x %d) (* 3 y) z))(check-sat)(pop 1)" % i for i in range(500)]
        script = ("(set-logic QF_LIA)(declare-const x Int)(declare-const y Int)(declare-const z Int)"
                  "(assert (< 0 x y))(check-sat)" + "".join(rounds))
        kept, freed = (tarq("--stats", "--collect", n, text=script) for n in ("100000000", "1000"))
        self.assertEqual(kept.lines[:501], freed.lines[:501])
        figures = [dict(re.findall(r"; (:[a-z-]+) ([0-9]+)", done.out)) for done in (kept, freed)]
        self.assertEqual([f[":sat-checks"] for f in figures], ["501"] * 2)
        # each time the assertions come anew
        again = int(figures[1][":cnf-clauses"]) - int(figures[0][":cnf-clauses"])
        self.assertTrue(2 <= again <= 50, again)

    def test_version_is_that_of_get_info(self):
        version = tarq("--version")
        self.assertEqual(version.status, 0)
        number = re.fullmatch(r"tarq (\d+\.\d+\.\d+)\n", version.out).group(1)
        self.assertEqual(tarq(text="(get-info :version)").out, f'(:version "{number}")\n')

    def test_wrong_usage_is_one_clean_message(self):
        script = self.file("a.smt2", "(check-sat)")
        for args in (["--no-such-option"], ["--timeout", "soon"], ["--timeout", "-1"], ["--seed", "0"],
                     ["--memory-limit", "1.5"], ["--config", "verbosity"], ["--config", "=1"],
                     ["--config"], ["--config", "no.such.option=1"], ["--config", "verbosity=x"],
                     ["--config", "verbosity=3"], ["--config", "dpll.restart_strategy=4"],
                     ["--config", "random_seed=0"], ["--config-file", self.tmp / "missing"],
                     [self.tmp / "missing.smt2"], [self.tmp], [script, script]):
            done = tarq(*args) if script in args else tarq(*args, text="(check-sat)")
            self.assertEqual((done.status, done.out), (2, ""), args)
            self.assertTrue(done.err.strip(), args)
            self.assertNotIn("terminate", done.err)

    def test_a_repeated_config_takes_one_value_each(self):
        script = self.file("a.smt2", "(get-option :random-seed)")
        done = tarq("--config", "random_seed=5", "--config", "verbosity=0", script)
        self.assertEqual((done.status, done.out), (0, "5\n"), done.err)

    def test_later_settings_win(self):
        ask = "(get-option :random-seed)"
        config = self.file("settings", "# comment\nrandom_seed = 11\n\n[other]\nrandom_seed = 12\n")
        self.assertEqual(tarq("--config-file", config, text=ask).out, "11\n")
        self.assertEqual(tarq("--config-file", config, "--seed", "6", text=ask).out, "6\n")
        self.assertEqual(tarq("--config", "random_seed=5", "--config", "random_seed=7", text=ask).out, "7\n")
        script = '(set-option :config "random_seed=8")' + ask + "(reset)" + ask
        self.assertEqual(tarq("--config", "random_seed=5", text=script).out, "8\n5\n")

    def test_an_empty_configuration_file_sets_nothing(self):
        done = tarq("--config-file", self.file("settings", ""), text="(check-sat)")
        self.assertEqual((done.status, done.out), (0, "sat\n"), done.err)

    def test_a_bad_configuration_file_is_refused(self):
        for text in ("[", "[]", "no.such.option = 1", "verbosity = high"):
            done = tarq("--config-file", self.file("settings", text), text="(check-sat)")
            self.assertEqual((done.status, done.out), (2, ""), text)

    def test_print_options_lists_what_config_takes(self):
        listing = tarq("--print-options").out
        rows = re.findall(r"^  (\S+) = (\S+)   \((bool|int|float|string)(?:, ([^)]*))?\)$", listing, re.M)
        self.assertGreater(len(rows), 100)
        self.assertEqual(len(rows), len({row[0] for row in rows}))
        # Each default is a value that the option accepts.
        for name, default, kind, _ in rows:
            value = "" if default == "(empty)" else default
            if name != "dpll.branching_random_frequency" and not name.startswith("theory."):
                done = tarq("--config", f"{name}={value}", text="(check-sat)")
                self.assertEqual((done.status, done.out), (0, "sat\n"), f"{name} {done.err}")
        self.assertIn(("dpll.restart_strategy", "0", "int", "0 to 3"), rows)

    def test_statistics_come_last_and_count(self):
        text = "(declare-const a Bool)(declare-const b Bool)(assert (xor a b))(check-sat)"
        done = tarq("--stats", "--config", "preprocessor.toplevel_propagation=false", text=text)
        self.assertEqual(done.lines[0], "sat")
        rows = dict(line.split()[1:] for line in done.lines[1:])
        self.assertTrue(all(line.startswith("; :") for line in done.lines[1:]))
        self.assertEqual(rows[":sat-checks"], "1")
        self.assertEqual(int(rows[":cnf-clauses"]), 2)
        self.assertGreater(float(rows[":memory"]), 1)
        self.assertLessEqual(float(rows[":time-to-first-decision"]), float(rows[":time"]))

    def test_two_runs_are_equal_to_the_last_counter(self):
        text = """(declare-const a Bool)(declare-const b Bool)(declare-const c Bool)
            (assert (= (xor a b) (or c a)))(check-sat)(push)(assert (= a b))(check-sat)(pop)
            (get-info :all-statistics)"""
        first, second = tarq(text=text), tarq(text=text)
        self.assertEqual(first.out, second.out)
        self.assertRegex(first.out, r"\(:cnf-variables \d+\n :cnf-literals \d+")


class ScriptOptions(TestCase):
    def test_config_reaches_the_library(self):
        text = '(set-option :config "debug.solver_enabled=false")(check-sat)(get-info :reason-unknown)'
        self.assertEqual(tarq(text=text).lines, ["unknown", "(:reason-unknown incomplete)"])

    def test_a_refused_config_changes_nothing(self):
        for value in ("random_seed", "=3", "no.such=1", "verbosity=9", "verbosity=-1", "proof_generation=true"):
            done = tarq(text=f'(set-option :config "{value}")\n(get-option :random-seed)(check-sat)')
            self.assert_error(done.lines[0], 1)
            self.assertEqual(done.lines[2], "sat", value)
            self.assertEqual(done.status, 1)

    def test_start_options_are_refused_after_the_start(self):
        for start in ("(declare-const a Bool)", "(declare-sort U 0)", "(define-fun f () Bool true)",
                      "(assert true)", "(push)"):
            for option in (':config "random_seed=3"', ":random-seed 3", ":global-declarations true",
                           ":produce-unsat-assumptions true", ":verbosity 1"):
                done = tarq(text=f"{start}\n(set-option {option})\n(check-sat)")
                self.assert_error(done.lines[0], 2)
                self.assertEqual(done.lines[1:], ["sat"])

    def test_values_of_the_wrong_kind_are_refused(self):
        for option in (":print-success 1", ":print-success maybe", ':print-success "true"', ":print-success",
                       ":random-seed 1.5", ":random-seed 3000000000", ":random-seed x", ":verbosity true",
                       ":config true", ":config 4", ":regular-output-channel 1",
                       ':regular-output-channel "no/such/folder/file"'):
            done = tarq(text=f"(set-option {option})\n(check-sat)")
            self.assert_error(done.lines[0], 1)
            self.assertEqual(done.lines[1:], ["sat"], option)

    def test_channels(self):
        out, diag = self.tmp / "answers", self.tmp / "log"
        out.write_text("kept\n")
        done = tarq(text=f"""(set-option :print-success true)
            (set-option :verbosity 1)
            (set-option :diagnostic-output-channel "{diag}")
            (set-option :regular-output-channel "{out}")
            (get-option :regular-output-channel)
            (push)(check-sat)(nonsense)
            (set-option :regular-output-channel "stderr")
            (echo "to standard error")
            (set-option :regular-output-channel "stdout")
            (echo "back")
            """)
        self.assertEqual(done.lines, ["success", "success", "success", "success", '"back"'])
        written = out.read_text().splitlines()
        self.assertEqual(written[:5], ["kept", "success", f'"{out}"', "success", "sat"])
        self.assert_error(written[5], 6)
        self.assertEqual(len(written), 6)
        self.assertEqual(done.err.splitlines(), ["success", '"to standard error"'])
        # What the library logs is diagnostic output and never among the answers.
        self.assertIn("push", diag.read_text())
        self.assertEqual(done.status, 1)

    def test_answers_that_cannot_be_written_end_the_run(self):
        done = tarq(text='(set-option :regular-output-channel "/dev/full")(check-sat)(echo "lost")')
        self.assertEqual((done.status, done.out), (2, ""))
        self.assertRegex(done.err, "can't write to /dev/full")

    def test_reset_brings_the_channels_back(self):
        out = self.tmp / "answers"
        done = tarq(text=f'(set-option :regular-output-channel "{out}")(echo "a")(reset)(echo "b")')
        self.assertEqual(done.lines, ['"b"'])
        self.assertEqual(out.read_text(), '"a"\n')


if __name__ == "__main__":
    unittest.main()
