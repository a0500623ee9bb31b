"""What the module's tests share: the source tree's folders and a file written in a test's folder."""

import os
import pathlib

import pytest

SOURCE_DIR = pathlib.Path(os.environ.get("KPXML_SOURCE_DIR", pathlib.Path(__file__).resolve().parents[2]))
CORPUS_DIR = SOURCE_DIR / "tests" / "corpus"
EXAMPLES_DIR = SOURCE_DIR / "examples"


@pytest.fixture
def stored(tmp_path):
    """Writes bytes to a file in the test's folder and returns its path."""

    def store(data, name="doc.xml"):
        path = tmp_path / name
        path.write_bytes(data)
        return path

    return store
