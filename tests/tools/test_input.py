#!/usr/bin/env python3
"""Input as it comes: through pipes, broken, huge, deep. A query at the end must still be answered."""
import os
import random
import select
import unittest

from tool import TestCase, start, tarq

QUERY = "\n(declare-const last Bool)(assert last)(check-sat)(assert (not last))(check-sat)\n"


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


class BrokenText(TestCase):
    CASES = [
        ")", "(", "((", "()", "(())", "(assert", "(assert true", "(assert true))", "(check-sat", "check-sat)",
        "(assert (and true)", '(echo "open', "(assert |open", "(set-info :source |open", "(assert #b)", "(assert #b2)",
        "(assert #xg)", "(assert # x)", "(assert 1.)", "(assert 5x)", "(assert {)", "(assert [true])",
        "(assert 'a)", "(assert a,b)", "(assert (let))", "(assert (let () true))", "(assert (let ((x)) x))",
        "(assert (let ((x true) x))", "(assert (forall () true))", "(assert (forall ((x)) true))",
        "(assert (!))", "(assert (! true))", "(assert (! true :named))", "(assert (! true :named 5))",
        "(assert (as true))", "(assert (_ bv1))", "(assert (= (_ bv5 0) (_ bv5 0)))", "(assert ((_ extract 1) #b11))",
        "(assert (= #b1 #b11))", "(assert (= ((_ extract 9 0) #b11) #b1))", "(assert (_ x 1))", "(assert ())",
        "(declare-fun)", "(declare-fun f)", "(declare-fun f Bool Bool)", "(declare-fun f () ())",
        "(declare-fun f (()) Bool)", "(declare-const f)", "(declare-const f () Bool)", "(declare-const 5 Bool)",
        '(declare-const "a" Bool)', "(declare-const f (_ BitVec))", "(declare-const f (_ BitVec a))",
        "(declare-const f (Array Int))", "(declare-sort)", "(declare-sort U -1)", "(declare-sort U)", "(declare-sort Bool 0)",
        "(define-sort)", "(define-sort X)", "(define-sort X () Missing)", "(define-fun f)",
        "(define-fun f () Bool)", "(define-fun f ((x)) Bool true)", "(define-fun f () Int true)", "(define-fun f ((x Int)) Bool (and x))",
        "(push 1 2)", "(push 1.5)", "(pop)", "(pop 1)", "(pop 99999999999999999999)", "(push 99999999999999999999)",
        "(push 100000000)", "(check-sat true)", "(check-sat-assuming)", "(check-sat-assuming true)", "(check-sat-assuming (5))",
        "(set-option)", "(set-option true)", "(set-info)", "(set-logic)", "(set-logic 5)", "(get-info 5)",
        "(get-value)", "(get-value ())", "(echo)", "(echo a)", "(reset 1)", "(exit now)", "(get-unsat-assumptions)",
        "(assert (and))", "(assert (not))", "(assert (ite true false))", "(assert (xor true))", "(assert (=> true))",
        "(assert (= true))", "(assert (distinct))", "(assert (true))", "(assert (distinct true 5))", "(assert (ite 5 true false))",
        "\x00", "\xff\xfe", "(assert \x01)", "(declare-const \x7f Bool)",
    ]

    def test_every_broken_text_is_an_error_and_nothing_more(self):
        for text in self.CASES:
            for tail in ("", QUERY):
                done = tarq(data=text.encode("latin-1") + tail.encode())
                self.assert_clean(done)
                self.assertEqual(done.status, 1, text)
                self.assertTrue(done.lines[0].startswith('(error "line '), (text, done.out))
                # An open parenthesis, string or quoted symbol takes all that follows with it.
                if tail and not self.is_open(text):
                    self.assertEqual(done.lines[-2:], ["sat", "unsat"], (text, done.out))

    @staticmethod
    def is_open(text):
        return (text.count("(") > text.count(")") or text.count('"') % 2 == 1 or text.count("|") % 2 == 1)

    def test_every_prefix_of_a_script(self):
        text = '(set-logic QF_UF)(declare-const |a b| Bool)(assert (! (=> |a b| #b1) :named n))(echo "x")'
        for end in range(len(text)):
            done = tarq(text=text[:end])
            self.assert_clean(done)
            self.assertLessEqual(done.status, 1)

    def test_random_bytes(self):
        rng = random.Random(20)
        alphabet = list(b'()()() ab|"#;:!_x01.\n') + [0, 9, 13, 92, 128, 255]
        for _ in range(40):
            noise = bytes(rng.choice(alphabet) for _ in range(rng.randrange(1, 400)))
            self.assert_clean(tarq(data=noise))
            # Closed off by enough of everything, the text that follows is read again.
            done = tarq(data=noise.replace(b'"', b"").replace(b"|", b"").replace(b";", b"") + b")" * 200
                        + QUERY.encode())
            self.assert_clean(done)
            self.assertEqual(done.lines[-2:], ["sat", "unsat"])

    def test_a_mutated_script_never_ends_the_run(self):
        rng = random.Random(21)
        text = ("(declare-const a Bool)(declare-const b Bool)(push 1)(assert (let ((x a) (y b)) (or x (not y))))"
                "(define-fun f ((x Bool)) Bool (xor x a))(assert (! (f b) :named n))(check-sat)(pop 1)"
                "(check-sat-assuming (a (not b)))")
        for _ in range(60):
            letters = list(text)
            for _ in range(rng.randrange(1, 4)):
                at = rng.randrange(len(letters))
                letters[at] = rng.choice(["", "(", ")", " ", "a", "1", letters[at] * 2])
            done = tarq(text="".join(letters) + "))))" + QUERY)
            self.assert_clean(done)
            self.assertEqual(done.lines[-2:], ["sat", "unsat"], "".join(letters))


class HugeText(TestCase):
    def test_a_token_of_ten_megabytes(self):
        name = "n" * 10_000_000
        done = tarq(text=f"(declare-const {name} Bool)(assert {name}){QUERY}(assert {name}x)")
        self.assert_clean(done)
        self.assertEqual(done.lines[:2], ["sat", "unsat"])
        self.assertTrue(done.lines[2].startswith('(error "line 3: '))
        self.assertLess(len(done.lines[2]), 2000)
        done = tarq(text="(assert " + "9" * 10_000_000 + ")" + QUERY)
        self.assert_clean(done)
        self.assertEqual(done.lines[1:], ["sat", "unsat"])

    def test_a_nesting_of_a_million(self):
        deep = 1_000_000
        for head, inner, tail, answers in (("(not ", "last", ")", ["sat", "unsat"]),
                                           ("(and true ", "last", ")", ["sat", "unsat"]),
                                           ("(let ((x last)) ", "x", ")", ["sat", "unsat"]),
                                           ("(= last ", "last", ")", None)):
            done = tarq(text="(declare-const last Bool)(assert " + head * deep + inner + tail * deep
                        + ")(check-sat)(assert (not last))(check-sat)")
            self.assert_clean(done)
            if answers:
                self.assertEqual((done.lines, done.status), (answers, 0), head)
            else:
                self.assertEqual(done.lines[0], "sat")
        done = tarq(text="(assert " + "(" * deep + QUERY)
        self.assert_clean(done)
        self.assertEqual(done.status, 1)

    def test_a_deep_term_without_sharing(self):
        names = [f"v{i}" for i in range(50)]
        text = "".join(f"(declare-const {n} Bool)" for n in names)
        deep = 200_000
        text += "(assert " + "".join(f"({'and' if i % 2 else 'or'} v{i * 7 % 50} " for i in range(deep))
        done = tarq(text=text + "v0" + ")" * deep + ")(check-sat)(get-info :assertion-stack-levels)")
        self.assert_clean(done)
        self.assertEqual(done.lines, ["sat", "(:assertion-stack-levels 0)"])


if __name__ == "__main__":
    unittest.main()
