"""Lifetimes: an element keeps its document alive; an element removed from its tree, or whose
document was read again, raises StaleElementError on every use and never reaches freed memory
(these tests also run under AddressSanitizer)."""

import gc

import pytest

import kpxml

TEXT = "<r><a><b><c/></b></a><d>t</d></r>"

# Every way of using an element.
USES = {
    "name": lambda e: e.name,
    "set name": lambda e: setattr(e, "name", "n"),
    "text": lambda e: e.text,
    "text_bytes": lambda e: e.text_bytes,
    "set text": lambda e: setattr(e, "text", "t"),
    "parent": lambda e: e.parent,
    "len": len,
    "children": lambda e: list(e.children),
    "append": lambda e: e.children.append(kpxml.Element("n")),
    "attributes": lambda e: dict(e.attributes),
    "set attribute": lambda e: e.attributes.__setitem__("k", "v"),
    "find": lambda e: e.find("c"),
    "find_deep": lambda e: e.find_deep("c"),
    "iter": lambda e: list(e.iter()),
    "get_int": lambda e: e.get_int(),
    "set": lambda e: e.set(1.5),
    "placed": lambda e: kpxml.Element("n").children.append(e),
}


def stale_elements():
    """Elements of each kind of death: removed with their subtree, or of a document read again."""
    document = kpxml.parse(TEXT)
    a = document.root.find("a")
    b, c = a.find("b"), a.find_deep("c")
    document.root.children.remove(a)
    removed = [a, b, c]
    again = kpxml.parse(TEXT)
    old = [again.root, again.root.find("d")]
    again.parse("<new/>")
    return removed + old


@pytest.mark.parametrize("use", USES.values(), ids=USES.keys())
def test_a_dead_element_raises_on_every_use(use):
    for element in stale_elements():
        with pytest.raises(kpxml.StaleElementError):
            use(element)
        assert "dead" in repr(element)


def test_the_reason_says_how_the_element_died():
    removed, *_, reread = stale_elements()
    with pytest.raises(kpxml.StaleElementError, match="removed from its document"):
        removed.name
    with pytest.raises(kpxml.StaleElementError, match="read again"):
        reread.name


def test_an_element_keeps_its_document_alive():
    element = kpxml.parse(TEXT).root.find_deep("c")
    gc.collect()
    assert [e.name for e in (element, element.parent, element.parent.parent.parent)] == ["c", "b", "r"]
    assert element.parent.parent.parent.find("d").text == "t"


def test_one_node_is_one_python_object():
    document = kpxml.parse(TEXT)
    assert document.root.find("a") is document.root.children[0]
    assert document.root.find_deep("c").parent.parent.parent is document.root


def test_the_other_elements_live_on_after_a_removal_and_a_failed_read(tmp_path):
    document = kpxml.parse(TEXT)
    root, d = document.root, document.root.find("d")
    del root.children[0]
    with pytest.raises(OSError):
        document.read(tmp_path / "missing.xml")  # changes nothing
    assert (root.name, d.text, d.parent is root) == ("r", "t", True)


def test_reading_again_gives_new_elements(tmp_path):
    path = tmp_path / "doc.xml"
    path.write_text("<n>read</n>")
    document = kpxml.parse(TEXT)
    old = document.root
    document.read(path)
    assert document.root.text == "read" and document.root is not old
    with pytest.raises(kpxml.StaleElementError):
        old.text


def test_a_moved_element_lives_on_in_its_new_document():
    source = kpxml.parse(TEXT)
    a = source.root.find("a")
    c = a.find_deep("c")
    target = kpxml.parse("<t/>")
    target.root.children.append(a)
    del source
    gc.collect()
    target.root.children.remove(a)  # frees a, b and c in the target document
    with pytest.raises(kpxml.StaleElementError):
        c.name


def test_a_new_element_placed_then_its_document_gone():
    child = kpxml.Element("child", "x")
    document = kpxml.parse("<r/>")
    document.root.children.append(child)
    del document
    gc.collect()
    assert (child.parent.name, child.text) == ("r", "x")


def test_removing_elements_from_a_deep_tree_while_holding_many():
    depth = 100000
    document = kpxml.parse("<e>" * depth + "</e>" * depth)
    held = list(document.root.iter())
    assert len(held) == depth
    document.root.children.remove(held[1])
    assert all(not element._alive for element in held[1:])
    assert held[0].name == "e" and len(held[0]) == 0
