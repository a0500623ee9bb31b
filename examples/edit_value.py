import sys

import kpxml

path = sys.argv[1]
document = kpxml.read(path)  # OSError when the file cannot be opened
x = document.root.find("origin").find("X")
x.set(x.get_float() + 0.5)  # a float is stored with 20 significant digits: 13
x.parent.attributes["unit"] = "mm"
document.write(path)  # replaces the file only with a complete new one; OSError when nothing was saved
print(x.text, x.parent.attributes["unit"])
