"""The counting of ./test: nothing that failed, crashed or never ran may pass for a success."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import count_tests  # noqa: E402


def gtest(**outcomes):
    """A GoogleTest report: test name = passed, failed, skipped or disabled."""
    results = {
        "passed": {"result": "COMPLETED"},
        "failed": {"result": "COMPLETED", "failures": [{"failure": "x"}]},
        "skipped": {"result": "SKIPPED"},
        "disabled": {"result": "SUPPRESSED", "status": "NOTRUN"},
    }
    tests = [{"name": name, **results[outcome]} for name, outcome in outcomes.items()]
    return json.dumps({"testsuites": [{"name": "Suite", "testsuite": tests}]})


class CountTests(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def phase(self, name, programs):
        """programs: name -> (how ctest says it ended, its own report or None)."""
        folder = self.folder / name
        (folder / "programs").mkdir(parents=True)
        cases = "".join(f'<testcase name="{name}" status="{status}"/>' for name, (status, _) in programs.items())
        (folder / "ctest.xml").write_text(f"<testsuite>{cases}</testsuite>")
        for name, (_, report) in programs.items():
            if report is not None:
                (folder / "programs" / f"{name}.json").write_text(report)

    def count(self):
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            code = count_tests.main(self.folder)
        return out.getvalue().splitlines()[-1], code

    def test_counts_every_test_of_every_program(self):
        self.phase("native", {"a": ("run", gtest(x="passed", y="passed")), "b": ("run", gtest(z="passed"))})
        self.assertEqual(self.count(), ("3 passed, 0 failed", 0))

    def test_a_failed_test_fails_the_run(self):
        self.phase("native", {"a": ("fail", gtest(x="passed", y="failed"))})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_skipped_and_disabled_tests_are_counted_apart(self):
        self.phase("native", {"a": ("run", gtest(x="passed", y="skipped", z="disabled"))})
        self.assertEqual(self.count(), ("1 passed, 0 failed, 2 skipped", 0))

    def test_a_crash_before_the_report_is_a_failure(self):
        self.phase("native", {"a": ("fail", None), "b": ("run", gtest(x="passed"))})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_a_failure_after_the_report_is_a_failure(self):
        self.phase("native", {"a": ("fail", gtest(x="passed"))})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_a_program_that_was_not_built_is_a_failure(self):
        self.phase("native", {"a": ("notrun", None), "b": ("run", gtest(x="passed"))})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_a_program_without_tests_is_a_failure(self):
        self.phase("native", {"a": ("run", gtest()), "b": ("run", gtest(x="passed"))})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_a_program_without_a_report_is_one_test(self):
        self.phase("fuzz", {"fuzz_decoder": ("run", None)})
        self.assertEqual(self.count(), ("1 passed, 0 failed", 0))

    def test_a_phase_without_programs_is_a_failure(self):
        self.phase("native", {"a": ("run", gtest(x="passed"))})
        self.phase("e2e", {})
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_a_phase_that_ctest_did_not_finish_is_a_failure(self):
        self.phase("native", {"a": ("run", gtest(x="passed"))})
        (self.folder / "windows").mkdir()
        self.assertEqual(self.count(), ("1 passed, 1 failed", 1))

    def test_checks_count_as_tests(self):
        self.phase("native", {"a": ("run", gtest(x="passed"))})
        (self.folder / "checks").mkdir()
        (self.folder / "checks" / "layers").write_text("passed\n")
        (self.folder / "checks" / "format").write_text("failed\n")
        self.assertEqual(self.count(), ("2 passed, 1 failed", 1))

    def test_nothing_at_all_is_not_a_success(self):
        line, code = self.count()
        self.assertEqual((line, code), ("0 passed, 0 failed", 1))


if __name__ == "__main__":
    unittest.main()
