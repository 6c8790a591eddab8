"""Python's own document tree."""
import sys
import xml.etree.ElementTree

xml.etree.ElementTree.parse(sys.argv[1])
