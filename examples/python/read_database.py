"""Prints what is in a device database, and the fanouts of nodes. A node is told by its number: its row in nodes.tsv of a dump.

usage: read_database.py DEVICE.kdb [NODE ...]        with python3, capnproto and libcapnp-dev of Debian; docs/file-format.md tells the format
"""
import bisect, json, pathlib, struct, subprocess, sys

HERE = pathlib.Path(__file__).resolve().parent
PLACES = HERE / "../../kep_io/database", HERE / "../../../../kep_rg"  # among the sources, and below share of an installed tree
SCHEMA = next((path for place in PLACES if (path := place / "kep_database.capnp").exists()), "kep_database.capnp")
file = open(sys.argv[1], "rb").read()

def read(begin, size, root):
    command = ["capnp", "convert", "binary:json", SCHEMA, root]
    return json.loads(subprocess.check_output(command, input=file[int(begin):int(begin) + int(size)]))

header = read(24, struct.unpack_from("<I", file, 12)[0], "Header")
print(*(f"{count['name']} {count['value']}" for count in header["counts"]), sep="\n")
graph = next(read(s["begin"], s["numBytes"], "Graph") for s in header["sections"] if s["name"] == "graph")
tables = [[row for chunk in graph.get(name, []) for row in chunk]
          for name in "firstNodes pages shapesOfNodes shapes fanouts lacking firstRanks ranks".split()]
first, pages, numbers, shapes, fanouts, lacking, first_ranks, ranks = tables

def ranks_at(place):  # of its nodes: nearly always there is one of each rank
    marks = int(lacking[place // 64]["bits"]) if lacking else 0
    if not marks >> place % 64 & 1: return range(first[place + 1] - first[place])
    i = lacking[place // 64]["numBefore"] + bin(marks % 2**(place % 64)).count("1")
    return ranks[first_ranks[i]:][:first[place + 1] - first[place]]

for node in map(int, sys.argv[2:]):
    place = bisect.bisect(first, node) - 1
    i = (pages[place] + ranks_at(place)[node - first[place]]) * graph["widthOfShapes"]
    shape = shapes[int.from_bytes(bytes(numbers[i:i + graph["widthOfShapes"]]), "little")]
    for k, word in enumerate(map(int, fanouts[shape["firstFanout"]:][:shape["numFanouts"]])):
        there = word >> 32 if word & 2**31 else (place + (word >> 32)) % 2**32
        print(node, first[there] + ranks_at(there).index(word % 2**31 - 1), "real" if k < shape["numReal"] else "redundant")
