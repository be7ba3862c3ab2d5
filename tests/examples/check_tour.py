#!/usr/bin/env python3
"""Runs the tour and checks the page it leaves: well-formed, every picture there and a picture, every link leading
to a file, every family of the library with a heading.

Usage: check_tour.py TOUR COMMAND PROGRAMS PART FOLDER
"""
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

FAMILIES = 11


def main():
    tour, command, programs, part, folder = sys.argv[1:]
    subprocess.run([tour, command, programs, part, folder], check=True)
    page = pathlib.Path(folder) / "index.html"
    text = page.read_text(encoding="utf-8").replace("<!DOCTYPE html>", "")
    root = ElementTree.fromstring(text)

    faults = []
    headings = [h.text for h in root.iter("h2")]
    if len(headings) != FAMILIES or len(set(headings)) != FAMILIES:
        faults.append(f"{len(headings)} headings, expected {FAMILIES}: {headings}")
    for image in root.iter("img"):
        picture = page.parent / image.get("src")
        svg = ElementTree.parse(picture).getroot()
        if not svg.tag.endswith("svg") or not list(svg):
            faults.append(f"{picture}: no picture")
    for link in root.iter("a"):
        if not (page.parent / link.get("href")).exists():
            faults.append(f"{link.get('href')}: leads nowhere")
    for figure in root.iter("figure"):
        if figure.find("pre") is None and figure.find("a/img") is None:
            faults.append(f"{''.join(figure.itertext()).strip()}: shows nothing")
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
