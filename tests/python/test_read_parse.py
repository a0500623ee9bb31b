"""Reading files and parsing text: the library's parser and text-mode file reading, and the same
trees the C++ interface gives for the corpus of tricky files."""

import errno

import pytest

import kpxml
from conftest import CORPUS_DIR

# The attributes the corpus's .dump files show: the C interface reads attributes by name only.
DUMPED_ATTRIBUTES = ["a", "id", "k", "m", "n", "name", "q", "r", "v", "w", "x", "y"]


def shown(data):
    """As the C++ tests show bytes: printable ASCII as it is, '"' and '\\' escaped, others as \\xNN.
    The C interface behind the .dump files copies C strings, so a NUL ends the value."""
    data = data.split(b"\0")[0]
    return "".join("\\" + chr(b) if b in b'"\\' else chr(b) if 0x20 <= b < 0x7F else "\\x%02x" % b for b in data)


def dump(element, indent=""):
    """The tree as the C++ corpus test writes it, from what the Python interface shows."""
    lines = ['%selement "%s" children %d' % (indent, shown(element.name_bytes), len(element)),
             '%s  text "%s"' % (indent, shown(element.text_bytes))]
    for attribute in DUMPED_ATTRIBUTES:
        value = element.attributes.get_bytes(attribute)
        if value and value.split(b"\0")[0]:
            lines.append('%s  attribute %s "%s"' % (indent, attribute, shown(value)))
    return "".join(line + "\n" for line in lines) + "".join(dump(child, indent + "  ") for child in element)


CORPUS = ["entities", "structure", "toplevel", "highbytes", "crlf", "indented"]


@pytest.mark.parametrize("name", CORPUS)
def test_corpus_reads_to_the_tree_and_bytes_of_the_cpp_interface(name, tmp_path):
    document = kpxml.read(CORPUS_DIR / (name + ".xml"))
    if name == "entities":
        assert document.root.attributes.get_bytes("k") == b"A\0z"  # exact, where the C interface stops
    assert dump(document.root) == (CORPUS_DIR / (name + ".dump")).read_bytes().decode("ascii")
    document.write(tmp_path / "out.xml")
    assert (tmp_path / "out.xml").read_bytes() == (CORPUS_DIR / (name + ".written")).read_bytes()


def test_read_is_in_text_mode(stored):
    path = stored(b"<r>\r\n<x\r\ny k=\"1\"/><a>1</a>\x1a<b/></r>")
    root = kpxml.read(path).root
    assert [child.name for child in root] == ["x\ny", "a"]
    assert kpxml.read(str(path)).tobytes(False) == kpxml.read(bytes(path)).tobytes(False)


def test_parse_takes_str_and_bytes_alike():
    text = '<r a="\u20ac">caf\u00e9 &#8364;</r>'
    from_str = kpxml.parse(text)
    from_bytes = kpxml.parse(text.encode("cp1252"))
    assert from_str.root.text == from_bytes.root.text == "caf\u00e9 \u20ac"
    assert from_str.root.attributes["a"] == "\u20ac"
    assert from_str.tobytes() == from_bytes.tobytes()


@pytest.mark.parametrize("text, root, written", [
    ("", "", '<?xml version="1.0"?>\n< />\n'),
    ("<a><b>t</b></a><c/>", "a", '<?xml version="1.0"?>\n<a>\n<b>t</b>\n<c />\n</a>\n'),
    ("<a>x<!-- c -->y</a>", "a", '<?xml version="1.0"?>\n<a>xy</a>\n'),
    ("<a>x<!--c-->y</a>", "a", '<?xml version="1.0"?>\n<a>\n<!--c-- />\n</a>\n'),
])
def test_parse_never_rejects_input(text, root, written):
    document = kpxml.parse(text)
    assert document.root.name == root
    assert document.tostring() == written


@pytest.mark.parametrize("make_path, error, code", [
    (lambda tmp: tmp / "missing.xml", FileNotFoundError, errno.ENOENT),
    (lambda tmp: tmp / "no" / "such.xml", FileNotFoundError, errno.ENOENT),
    (lambda tmp: tmp, IsADirectoryError, errno.EISDIR),
])
def test_a_file_that_cannot_be_opened_raises_oserror_with_the_reason(tmp_path, make_path, error, code):
    path = make_path(tmp_path)
    with pytest.raises(error) as raised:
        kpxml.read(path)
    assert raised.value.errno == code
    assert raised.value.filename == path


def test_a_file_name_is_taken_in_the_file_systems_encoding(stored):
    path = stored(b"<r>ok</r>", "\u03b1-caf\u00e9.xml")  # alpha has no byte in the text's code page
    assert kpxml.read(path).root.text == "ok"


def test_a_file_name_with_a_null_byte_is_refused():
    with pytest.raises(ValueError):
        kpxml.read("a\0b.xml")


@pytest.mark.parametrize("value", [None, 3, ["<a/>"]])
def test_parse_takes_only_text(value):
    with pytest.raises(TypeError):
        kpxml.parse(value)
