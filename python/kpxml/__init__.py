"""Read, edit and save XML exactly as the KpXml library does.

    doc = kpxml.read("project.xml")        # or kpxml.parse(text_or_bytes)
    x = doc.root.find("origin").find("X")
    x.set(x.get_float() * 2)
    doc.write("project.xml")               # safe save; OSError when nothing was saved

Text is str, converted as the library's narrow text (Windows-1252); a character that has no
byte there raises UnicodeEncodeError. bytes are accepted wherever text is, and text_bytes,
Attributes.get_bytes and Document.tobytes give the exact bytes. File names are os.fsencode'd.

An element keeps its document alive. An element removed from its tree, or whose document was
read again, is dead: using it raises StaleElementError.
"""

from collections.abc import MutableMapping, Sequence

from ._kpxml import Document, Element, StaleElementError, parse, read

__all__ = ["Attributes", "Children", "Document", "Element", "StaleElementError", "parse", "read"]


class Attributes(MutableMapping):
    """An element's attributes: an ordered mapping of str to str that writes through.

    Setting a name that exists changes its value in place; a new name goes last. Values may be
    str, bytes, int (decimal) or float (20 significant digits); set() takes a printf format.
    When a name appears twice, the first shows and the second is hidden until the first goes.
    """

    __slots__ = ("_element",)

    def __init__(self, element):
        self._element = element

    def __getitem__(self, name):
        value = self._element._attribute(name, False)
        if value is None:
            raise KeyError(name)
        return value

    def __setitem__(self, name, value):
        self._element._set_attribute(name, value, None)

    def __delitem__(self, name):
        if not self._element._remove_attribute(name):
            raise KeyError(name)

    def __iter__(self):
        return iter(self._element._attribute_names())

    def __len__(self):
        return len(self._element._attribute_names())

    def get_bytes(self, name, default=None):
        """The value's exact bytes, or default when there is no such attribute."""
        value = self._element._attribute(name, True)
        return default if value is None else value

    def get_int(self, name):
        """The value read as the library reads integers; KeyError when missing."""
        return self._element._attribute_int(name)

    def get_float(self, name):
        """The value read as the library reads reals; KeyError when missing."""
        return self._element._attribute_float(name)

    def set(self, name, value, format=None):
        """Sets the value as Element.set does, e.g. set("x", 0.5, "%.3f")."""
        self._element._set_attribute(name, value, format)

    def __repr__(self):
        return "Attributes(%r)" % dict(self.items())


class Children(Sequence):
    """An element's children in order. Placing an element here moves it (with its subtree) from
    wherever it was; removing one frees it with its subtree, and its Python objects die."""

    __slots__ = ("_element",)

    def __init__(self, element):
        self._element = element

    def __len__(self):
        return len(self._element)

    def _position(self, index):
        index = index.__index__()
        size = len(self)
        if index < 0:
            index += size
        if not 0 <= index < size:
            raise IndexError("child index out of range")
        return index

    def __getitem__(self, index):
        if isinstance(index, slice):
            return [self._element._child(i) for i in range(*index.indices(len(self)))]
        return self._element._child(self._position(index))

    def __setitem__(self, index, element):
        index = self._position(index)
        old = self._element._child(index)
        if old is element:
            return
        self._element._insert(index, element)
        self._element._remove(old)

    def __delitem__(self, index):
        if isinstance(index, slice):
            for i in sorted(range(*index.indices(len(self))), reverse=True):
                self._element._remove_at(i)
        else:
            self._element._remove_at(self._position(index))

    def insert(self, index, element):
        """Moves element to position index, as list.insert places an item."""
        index = index.__index__()
        size = len(self)
        if index < 0:
            index = max(0, index + size)
        self._element._insert(min(index, size), element)

    def append(self, element):
        self._element._insert(len(self), element)

    def extend(self, elements):
        for element in list(elements):
            self.append(element)

    def remove(self, element):
        """Frees element with its subtree; ValueError when it is not a child here."""
        self._element._remove(element)

    def clear(self):
        self._element._clear()

    def reverse(self):
        self._element._reverse()

    def index(self, element, start=0, stop=None):
        position = self._element._index(element) if isinstance(element, Element) else -1
        if position < 0 or position < start or (stop is not None and position >= stop):
            raise ValueError("not a child of this element")
        return position

    def __contains__(self, element):
        return isinstance(element, Element) and self._element._index(element) >= 0

    def __repr__(self):
        return "Children(%r)" % list(self)


def _iter(self, name=None):
    """This element and every element below it in document order, or those with this name.
    Elements removed or moved away meanwhile are skipped, with what was below them."""
    len(self)  # a dead element raises here
    if name is None or self.name == name:
        yield self
    pending = [[self, 0]]
    while pending:
        top = pending[-1]
        child = top[0]._walk_child(top[1])
        if child is None:
            pending.pop()
            continue
        if name is None or child.name == name:
            yield child
        top[1], inside = top[0]._walk_after(child, top[1])
        if inside:
            pending.append([child, 0])


Element.attributes = property(Attributes, doc="The attributes, an ordered mapping that writes through.")
Element.children = property(Children, doc="The children, a sequence with append, insert and remove.")
Element.iter = _iter
Element.__iter__ = lambda self: iter(Children(self))
del _iter
