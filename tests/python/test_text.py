"""Text conversion: str in and out as the library's narrow text (Windows-1252), exact bytes where
asked for, and UnicodeEncodeError for a character the code page has no byte for."""

import re

import pytest

import kpxml

EVERY_BYTE = bytes(range(1, 256))


def test_every_byte_survives_the_round_trip_through_str():
    element = kpxml.Element("e")
    element.text_bytes = b"a" + EVERY_BYTE + b"z"
    text = element.text
    element.text = text
    assert element.text_bytes == b"a" + EVERY_BYTE + b"z"
    element.attributes["k"] = text
    assert element.attributes.get_bytes("k") == b"a" + EVERY_BYTE + b"z"


@pytest.mark.parametrize("byte", range(0x80, 0x100))
def test_each_high_byte_is_the_character_the_library_writes_for_it(byte):
    element = kpxml.Element("e")
    element.text_bytes = bytes([byte])
    document = kpxml.parse(b"<e>&#38;</e>")
    document.root.children.append(element)
    reference = re.search(r"<e>&#(\d+);</e>", document.tostring()).group(1)
    assert ord(element.text) == int(reference)


@pytest.mark.parametrize("text, stored", [
    ("\u20ac \u00e4 \u0152 \u2122", b"\x80 \xe4 \x8c \x99"),
    ("\u0081\u008d\u008f\u0090\u009d", b"\x81\x8d\x8f\x90\x9d"),  # the bytes Windows-1252 leaves undefined
    ("\u00ff", b"\xff"),
])
def test_str_is_stored_in_the_code_page(text, stored):
    element = kpxml.Element(text, text)
    assert (element.name_bytes, element.text_bytes) == (stored, stored)
    assert kpxml.parse("<r>" + text + "</r>").root.text_bytes == stored


# Every way text goes into the library.
INPUTS = {
    "Element name": lambda t: kpxml.Element(t),
    "Element text": lambda t: kpxml.Element("e", t),
    "name": lambda t: setattr(kpxml.Element("e"), "name", t),
    "text": lambda t: setattr(kpxml.Element("e"), "text", t),
    "set": lambda t: kpxml.Element("e").set(t),
    "attribute name": lambda t: kpxml.Element("e").attributes.__setitem__(t, "v"),
    "attribute value": lambda t: kpxml.Element("e").attributes.__setitem__("k", t),
    "attribute lookup": lambda t: kpxml.Element("e").attributes.get(t),
    "format": lambda t: kpxml.Element("e").set(1.0, "%f" + t),
    "find": lambda t: kpxml.Element("e").find(t),
    "find_deep": lambda t: kpxml.Element("e").find_deep(t),
    "parse": lambda t: kpxml.parse("<r>" + t + "</r>"),
    "Document": lambda t: kpxml.Document(t),
}


@pytest.mark.parametrize("store", INPUTS.values(), ids=INPUTS.keys())
@pytest.mark.parametrize("character", ["\u03b1", "\u2212", "\u2264", "\U0001f600", "\udc80"])
def test_a_character_without_a_byte_raises_unicode_encode_error(store, character):
    with pytest.raises(UnicodeEncodeError) as raised:
        store("ab" + character)
    error = raised.value
    offset = {INPUTS["parse"]: len("<r>"), INPUTS["format"]: len("%f")}.get(store, 0)
    assert (error.encoding, error.start, error.end) == ("cp1252", offset + 2, offset + 3)
    assert error.object[error.start] == character


def test_text_bytes_takes_only_bytes():
    with pytest.raises(TypeError):
        kpxml.Element("e").text_bytes = "text"
