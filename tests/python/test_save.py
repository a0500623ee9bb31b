"""Saving: the library's safe save, which replaces a file only with a complete new one, and
OSError when nothing was saved."""

import os

import pytest

import kpxml


@pytest.fixture
def document():
    return kpxml.parse('<r a="\u20ac"><x>1</x></r>')


def test_write_stores_the_document_in_text_mode(document, tmp_path):
    path = tmp_path / "out.xml"
    document.write(path)
    assert path.read_bytes() == b'<?xml version="1.0"?>\r\n<r a="&#8364;">\r\n<x>1</x>\r\n</r>\r\n'
    document.write(str(path), declaration=False)
    assert path.read_bytes() == b'<r a="&#8364;">\r\n<x>1</x>\r\n</r>\r\n'
    assert kpxml.read(path).tostring(False) == document.tostring(False)


def test_tostring_and_tobytes_give_what_write_stores(document):
    assert document.tostring() == '<?xml version="1.0"?>\n<r a="&#8364;">\n<x>1</x>\n</r>\n'
    assert document.tobytes(declaration=False) == b'<r a="&#8364;">\n<x>1</x>\n</r>\n'
    document.set_indent("  ")
    assert document.tostring(False) == '<r a="&#8364;">\n  <x>1</x>\n</r>\n'


def test_a_read_only_target_raises_with_the_reason_and_keeps_the_old_file(document, tmp_path):
    path = tmp_path / "out.xml"
    path.write_bytes(b"old")
    path.chmod(0o444)
    with pytest.raises(PermissionError) as raised:
        document.write(path)
    assert raised.value.filename == path
    assert raised.value.strerror == "read-only file"
    assert path.read_bytes() == b"old"
    assert os.listdir(tmp_path) == ["out.xml"]


def test_a_target_in_a_missing_folder_raises(document, tmp_path):
    with pytest.raises(FileNotFoundError) as raised:
        document.write(tmp_path / "missing" / "out.xml")
    assert raised.value.strerror == "No such file or directory"
    assert os.listdir(tmp_path) == []


def test_a_file_name_with_a_null_byte_is_refused(document, tmp_path):
    with pytest.raises(ValueError):
        document.write(str(tmp_path / "a\0b.xml"))
    assert os.listdir(tmp_path) == []
