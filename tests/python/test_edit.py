"""Editing: names, text, attributes as an ordered mapping that writes through, children as a
sequence whose placements move elements, searches and walks."""

import pytest

import kpxml


@pytest.fixture
def document():
    return kpxml.parse('<r a="1" b="2" a="3"><x>1</x><y k="v"><x>2</x></y><z/></r>')


def names(elements):
    return [element.name for element in elements]


def test_attributes_are_an_ordered_mapping_that_writes_through(document):
    attributes = document.root.attributes
    assert list(attributes.items()) == [("a", "3"), ("b", "2")]
    attributes["c"] = "new"
    attributes["a"] = "changed"  # in place, not moved to the end
    del attributes["b"]
    assert dict(attributes) == {"a": "changed", "c": "new"}
    assert list(attributes) == ["a", "c"]
    assert document.tostring(False) == '<r a="changed" c="new">\n<x>1</x>\n<y k="v">\n<x>2</x>\n</y>\n<z />\n</r>\n'
    with pytest.raises(KeyError):
        attributes["missing"]
    with pytest.raises(KeyError):
        del attributes["missing"]
    assert attributes.get("missing", "default") == "default"
    assert "a" in attributes and "b" not in attributes and len(attributes) == 2


def test_text_and_name_are_stored_as_the_library_stores_them(document):
    x = document.root.find("x")
    x.text = "  padded \t"
    x.name = "renamed"
    assert (x.name, x.text) == ("renamed", "padded \t")  # spaces go, a tab stays
    x.text_bytes = b"\xe4"
    assert x.text == "\u00e4"


def test_children_insert_append_remove_and_replace(document):
    root = document.root
    children = root.children
    children.append(kpxml.Element("end", "e"))
    children.insert(0, kpxml.Element("start"))
    children.insert(-1, kpxml.Element("before_end"))
    children.insert(100, kpxml.Element("last"))
    assert names(children) == ["start", "x", "y", "z", "before_end", "end", "last"]
    children.remove(root.find("z"))
    del children[0]
    del children[-2:]
    assert names(children) == ["x", "y", "before_end"]
    children[2] = kpxml.Element("replaced")
    assert names(children) == ["x", "y", "replaced"]
    assert names(children[::-1]) == ["replaced", "y", "x"]
    assert len(root) == len(children) == 3
    with pytest.raises(IndexError):
        children[3]
    with pytest.raises(ValueError):
        children.remove(root)


def test_placing_an_element_moves_it_with_its_subtree(document):
    root = document.root
    y = root.find("y")
    inner = y.find("x")
    root.children.append(inner)  # out of y, to the end
    assert names(root) == ["x", "y", "z", "x"] and len(y) == 0 and inner.parent is root
    root.children.insert(0, root.children[3])  # within one list
    assert root.children.index(inner) == 0
    other = kpxml.parse("<o/>")
    other.root.children.append(y)  # to another document; the element lives on there
    assert y.parent is other.root and names(root) == ["x", "x", "z"]
    assert other.tostring(False) == "<o>\n<y k=\"v\" />\n</o>\n"
    root.children.reverse()
    assert root.children[0].name == "z"


@pytest.mark.parametrize("case", ["itself", "ancestor", "root"])
def test_an_element_cannot_be_placed_inside_itself_nor_a_root_moved(document, case):
    root = document.root
    y = root.find("y")
    with pytest.raises(ValueError):
        if case == "itself":
            y.children.append(y)
        elif case == "ancestor":
            y.find("x").children.append(root.find("y"))
        else:
            kpxml.Element("e").children.append(root)
    assert document.tostring(False) == '<r a="3" b="2">\n<x>1</x>\n<y k="v">\n<x>2</x>\n</y>\n<z />\n</r>\n'


def test_find_searches_children_and_find_deep_the_librarys_order(document):
    root = document.root
    assert root.find("x").text == "1"
    assert root.find("missing") is None
    assert root.find("y").find_deep("x").text == "2"
    assert root.find_deep("r") is root  # the search starts at the element itself
    assert root.find_deep("nowhere") is None


def test_iter_walks_in_document_order_and_filters_by_name(document):
    root = document.root
    assert names(root.iter()) == ["r", "x", "y", "x", "z"]
    assert [e.text for e in root.iter("x")] == ["1", "2"]
    assert names(root) == ["x", "y", "z"]


# Changes made at <y> while walking, and what the walk sees and leaves.
WALK_EDITS = {
    # removed with its subtree: the next sibling is not skipped
    "remove": (lambda y: y.parent.children.remove(y), ["r", "x", "y", "z"], ["r", "x", "z"]),
    # a sibling placed before the walk's place is not seen again
    "place before": (lambda y: y.parent.children.insert(0, y.parent.find("z")), ["r", "x", "y", "x"],
                     ["r", "z", "x", "y", "x"]),
    # moved away: what was below it is not walked
    "move away": (lambda y: kpxml.Element("o").children.append(y), ["r", "x", "y", "z"], ["r", "x", "z"]),
}


@pytest.mark.parametrize("edit, seen, left", WALK_EDITS.values(), ids=WALK_EDITS.keys())
def test_changing_the_tree_while_walking(document, edit, seen, left):
    walked = []
    for element in document.root.iter():
        walked.append(element.name)
        if element.name == "y":
            edit(element)
    assert (walked, names(document.root.iter())) == (seen, left)


def test_clear_removes_every_child(document):
    root = document.root
    root.children.clear()
    assert len(root) == 0 and dict(root.attributes) == {"a": "3", "b": "2"}


def test_an_element_is_true_even_without_children():
    assert kpxml.Element("leaf")
