#!/usr/bin/env python3
"""Marks every English message as translated by its own source text, so app_en.qm carries
every text (and loading it never falls back half-way)."""
import sys
import xml.etree.ElementTree as ET

path = sys.argv[1]
tree = ET.parse(path)
root = tree.getroot()
root.set("language", "en_US")
for message in root.iter("message"):
    source = message.find("source")
    translation = message.find("translation")
    if translation is None:
        translation = ET.SubElement(message, "translation")
    if translation.get("type") == "unfinished" or not (translation.text or "").strip():
        translation.text = source.text
        translation.attrib.pop("type", None)
tree.write(path, encoding="utf-8", xml_declaration=True)
