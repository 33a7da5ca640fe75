#!/usr/bin/env python3
"""Loads an XML file into a database, queries it, edits it and writes it back.

    python3 query_edit.py [IN.xml [OUT.xml [DB.qmb]]]

The defaults are the field guide next to this folder (../sample.xml), and
vesterdal-edited.xml and vesterdal.qmb in the current folder.
"""

import os
import sys

import qmdb

here = os.path.dirname(os.path.abspath(__file__))
source = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "sample.xml")
target = sys.argv[2] if len(sys.argv) > 2 else "vesterdal-edited.xml"
db_path = sys.argv[3] if len(sys.argv) > 3 else "vesterdal.qmb"

# Load: the document goes into a database file; only a few pages stay in memory.
with qmdb.load_xml(source, db_path) as db:
    guide = db.xpath("/*")[0]
    print(f"{guide.gid}: {db.xpath('count(//species)'):.0f} species, "
          f"{len(db.find('guide/group'))} groups")

    # Query with XPath (values or lists of objects) and with the library's paths.
    for name in db.xpath("//species[@status='rare']/name"):
        print("rare:", name.text)
    moths = db.find("guide/group/species")

    # Index the species by id and look them up.
    by_id = db.indexes.create("species")
    for species in moths:
        by_id.add(species, species.attrs["id"])
    print("s10 is", by_id["s10"][0].find("name")[0].text)
    print("s10 to s12:", [s.attrs["id"] for s in by_id.range("s10", "s12")])

    # Edit: mark the rare ones, record a sighting, drop the maps.
    for species in db.xpath("//species[@status='rare']"):
        species.attrs["protected"] = "yes"
        species.append("seen-again").append_text("Seen this year.")
    for regions in db.find("guide/map:regions"):
        regions.drop()

    # Write the edited document back as XML.
    db.write_xml(target)
    print("wrote", target)

# The database stays on disk: open it again, read-only.
with qmdb.open(db_path) as db:
    sightings = db.xpath("//seen-again")
    print(f"{db_path}: {len(sightings)} sightings, the first of {sightings[0].parent.attrs['id']}")
