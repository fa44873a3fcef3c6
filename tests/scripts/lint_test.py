"""The lint of scripts and workflows: it finds a planted fault of each kind, and says where."""
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORKFLOW = """name: planted
on: push
jobs:
  test:
    runs-on: windows-2022
    steps:
      - name: A step
        run: |
          if ($true) { Write-Output '${{ github.ref }}' }
"""


class Lint(unittest.TestCase):
    def lint(self, name, text):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
            done = subprocess.run([ROOT / "scripts/lint.sh", path], capture_output=True, text=True)
            return done.returncode, done.stdout + done.stderr

    def test_faultless_files_pass(self):
        self.assertEqual(self.lint("good.sh", "#!/usr/bin/env bash\necho \"$1\"\n"), (0, ""))
        self.assertEqual(self.lint("good.ps1", "if ($true) { Write-Output 'yes' }\n"), (0, ""))
        self.assertEqual(self.lint(".github/workflows/good.yml", WORKFLOW), (0, ""))

    def test_a_shell_script_that_does_not_parse_is_found(self):
        code, said = self.lint("bad.sh", "#!/usr/bin/env bash\nif true; then\n")
        self.assertEqual(code, 1)
        self.assertIn("SC1073", said)

    def test_an_unused_variable_in_a_shell_script_without_an_extension_is_found(self):
        code, said = self.lint("bad", "#!/usr/bin/env bash\nunused=1\n")
        self.assertEqual(code, 1)
        self.assertIn("SC2034", said)

    def test_a_powershell_script_that_lacks_a_brace_is_found(self):
        code, said = self.lint("bad.ps1", "Write-Output 'fine'\nif ($true) { Write-Output 'yes'\n")
        self.assertEqual(code, 1)
        self.assertIn("bad.ps1:", said)

    def test_a_workflow_with_an_unknown_key_is_found(self):
        code, said = self.lint(".github/workflows/bad.yml", WORKFLOW.replace("runs-on:", "run-on:"))
        self.assertEqual(code, 1)
        self.assertIn("run", said)

    def test_a_step_of_a_workflow_that_is_no_powershell_is_found(self):
        code, said = self.lint(".github/workflows/bad.yml", WORKFLOW.replace("if ($true) {", "if ($true {"))
        self.assertEqual(code, 1)
        self.assertIn("bad.yml:9: ", said)


if __name__ == "__main__":
    unittest.main()
