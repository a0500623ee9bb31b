"""Typed values: numbers read and written with the library's own conversions."""

import math

import pytest

import kpxml


@pytest.mark.parametrize("text, as_int, as_float", [
    ("42", 42, 42.0),
    ("  -7xyz", -7, -7.0),
    ("", 0, 0.0),
    ("abc", 0, 0.0),
    ("99999999999", 2147483647, 99999999999.0),  # integers saturate
    ("-99999999999", -2147483648, -99999999999.0),
    ("0x1p4", 0, 16.0),
    ("1e400", 1, math.inf),
])
def test_get_int_and_get_float_read_as_the_library_reads(text, as_int, as_float):
    element = kpxml.Element("v", text)
    element.attributes["a"] = text
    assert (element.get_int(), element.get_float()) == (as_int, as_float)
    assert (element.attributes.get_int("a"), element.attributes.get_float("a")) == (as_int, as_float)


class Count:
    """An integer type of another library, such as numpy's."""

    def __index__(self):
        return 5


@pytest.mark.parametrize("value, format, text", [
    (3, None, "3"),
    (Count(), None, "5"),
    (-2147483648, None, "-2147483648"),
    (True, None, "1"),
    (0.1, None, "0.10000000000000000555"),
    (2.5, None, "2.5"),
    (math.inf, None, "inf"),
    (-math.nan, None, "-nan"),
    (0.1, "%.3f", "0.100"),
    (3, "%.2f", "3.00"),
    (12.5, "  %8.1e mm ", "1.2e+01 mm"),
])
def test_numbers_are_formatted_as_the_library_formats_them(value, format, text):
    element = kpxml.Element("v")
    element.set(value, format)
    element.attributes.set("a", value, format)
    assert (element.text, element.attributes["a"]) == (text, text)


def test_set_text_stores_it_without_surrounding_spaces_and_attributes_as_given():
    element = kpxml.Element("v")
    element.set("  text  ")
    element.attributes.set("a", "  text  ")
    assert (element.text, element.attributes["a"]) == ("text", "  text  ")
    element.set(b"\xff")
    assert element.text == "\u00ff"


def test_attribute_values_of_every_type():
    element = kpxml.Element("v")
    attributes = element.attributes
    attributes["i"] = 7
    attributes["f"] = 0.5
    attributes["s"] = "  kept  "
    attributes["b"] = b"\x80"
    assert dict(attributes) == {"i": "7", "f": "0.5", "s": "  kept  ", "b": "\u20ac"}


@pytest.mark.parametrize("value, format, error", [
    (2 ** 31, None, OverflowError),
    (-2 ** 31 - 1, None, OverflowError),
    (10 ** 30, None, OverflowError),
    (1.0, "%d", ValueError),
    (1.0, "%f %f", ValueError),
    (1.0, "%*f", ValueError),
    (1.0, "x" * 1024 + "%f", ValueError),
    (1.0, "%f\0", ValueError),
    ("text", "%f", TypeError),
    (None, None, TypeError),
    ([1], None, TypeError),
])
def test_a_value_the_library_cannot_store_raises_and_changes_nothing(value, format, error):
    element = kpxml.Element("v", "old")
    element.attributes["a"] = "old"
    with pytest.raises(error):
        element.set(value, format)
    with pytest.raises(error):
        element.attributes.set("a", value, format)
    assert (element.text, element.attributes["a"]) == ("old", "old")


def test_missing_attributes_raise_keyerror_for_typed_reads():
    element = kpxml.Element("v")
    with pytest.raises(KeyError):
        element.attributes.get_int("missing")
    with pytest.raises(KeyError):
        element.attributes.get_float("missing")
