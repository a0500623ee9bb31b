"""The README's Python section: its install lines give an importable package, and its script
(examples/edit_value.py, quoted whole) changes a value and saves the file."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest

import kpxml
from conftest import EXAMPLES_DIR, SOURCE_DIR

SCRIPT = EXAMPLES_DIR / "edit_value.py"


def test_the_readme_quotes_the_script_whole():
    readme = (SOURCE_DIR / "README.md").read_text()
    block = re.search(r"^\[`examples/edit_value.py`\]\(examples/edit_value.py\)\n\n```python\n(.*?)^```$",
                      readme, re.S | re.M)
    assert block is not None
    assert block.group(1) == SCRIPT.read_text()
    assert "cmake --install build/linux --component python" in readme


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    """The package installed by the README's install line into a prefix of its own."""
    binary_dir = os.environ.get("KPXML_BINARY_DIR")
    if binary_dir is None:
        pytest.fail("KPXML_BINARY_DIR is not set: run the tests through ctest")
    prefix = tmp_path_factory.mktemp("prefix")
    subprocess.run(["cmake", "--install", binary_dir, "--component", "python", "--prefix", str(prefix)],
                   check=True, capture_output=True)
    packages = list(prefix.glob("lib/python3*/site-packages"))
    assert len(packages) == 1 and sorted(p.name for p in (packages[0] / "kpxml").iterdir())[0] == "__init__.py"
    return packages[0]


def run(installed, *arguments, cwd):
    environment = dict(os.environ, PYTHONPATH=str(installed))
    return subprocess.run([sys.executable, *arguments], cwd=cwd, env=environment,
                          check=True, capture_output=True, text=True).stdout


def test_the_installed_package_is_the_one_imported(installed, tmp_path):
    where = run(installed, "-c", "import kpxml; print(kpxml.__file__)", cwd=tmp_path)
    assert pathlib.Path(where.strip()) == installed / "kpxml" / "__init__.py"


def test_the_script_changes_a_value_and_saves_the_file(installed, tmp_path):
    project = tmp_path / "project.xml"
    shutil.copyfile(EXAMPLES_DIR / "project.xml", project)
    assert run(installed, str(SCRIPT), str(project), cwd=tmp_path) == "13 mm\n"

    expected = kpxml.read(EXAMPLES_DIR / "project.xml")
    origin = expected.root.find("origin")
    origin.find("X").text = "13"
    origin.attributes["unit"] = "mm"
    assert project.read_bytes() == expected.tobytes().replace(b"\n", b"\r\n")
