"""Reads the files that write_meshes.cpp wrote into DIR with Debian's readers:
the VTK legacy reader of python3-vtk9 and meshio (.vtk), meshio and gmsh
(.mesh). Each must find the nodes, the elements by type and the coordinates of
DIR/expected.json, to the precision of the file's number format. meshio reads
no cell of VTK code 2 (the nodes behind the corners), so it is given such a
file with those cells taken out, and compared on the corner cells.

Usage: python3 read_back.py DIR"""
import collections
import json
import os
import re
import subprocess
import sys

import meshio
from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader

VTK_NAMES = {2: "polyvertex", 3: "line", 5: "triangle", 9: "quad", 10: "tetra", 12: "hexahedron", 13: "wedge",
             14: "pyramid"}
GMSH_NAMES = {"edges": "line", "triangles": "triangle", "quadrangles": "quad", "tetrahedra": "tetra",
              "hexahedra": "hexahedron"}
failures = []


def check(ok, what):
    if not ok:
        failures.append(what)


def compare(where, e, nodes, counts, points, cells=None, skip=()):
    """`points` maps node ids to coordinates, `%f` in VTK files and `%E` in
    Medit files, or is a list of coordinates that must each match some node;
    the element types of `skip` are not compared."""
    check(nodes == len(e["points"]), f"{where}: {nodes} nodes, not {len(e['points'])}")
    want = {k: v for k, v in e["counts"].items() if k not in skip}
    check(dict(counts) == want, f"{where}: elements {dict(counts)}, not {want}")
    absolute, relative = (5.0001e-7, 1e-15) if e["kind"] == "vtk" else (1e-300, 5.0001e-7)
    def near(p, x):
        return all(abs(a - b) <= absolute + relative * abs(b) for a, b in zip(list(p) + [0.0] * 3, x))

    if isinstance(points, list):
        for p in points:
            check(any(near(p, x) for x in e["points"]), f"{where}: no node at {list(p)}")
    for i, p in points.items() if isinstance(points, dict) else ():
        check(near(p, e["points"][i]), f"{where}: node {i} at {list(p)}, not {e['points'][i]}")
    if cells is not None:
        check(cells == e["cells"], f"{where}: cells {cells[:4]}..., not {e['cells'][:4]}...")
    print(f"{where}: {nodes} nodes, {sum(counts.values())} elements")


def vtk9(path, e):
    reader = vtkUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    cells = []
    for c in range(grid.GetNumberOfCells()):
        ids = grid.GetCell(c).GetPointIds()
        cells.append([grid.GetCellType(c)] + [ids.GetId(k) for k in range(ids.GetNumberOfIds())])
    counts = collections.Counter(VTK_NAMES.get(c[0], str(c[0])) for c in cells)
    points = {i: grid.GetPoint(i) for i in range(grid.GetNumberOfPoints())}
    compare("vtk9 " + os.path.basename(path), e, grid.GetNumberOfPoints(), counts, points, cells)


def without_code_2(path):
    """A copy of a VTK file of ours without its cells of code 2."""
    with open(path) as f:
        text = f.read()
    head, rest = text.split("\nCELLS ", 1)
    cell_part, type_part = rest.split("\nCELL_TYPES ", 1)
    cell_lines = cell_part.split("\n")[1:-1]
    types = type_part.split("\n")[1:-1]
    kept = [(c, t) for c, t in zip(cell_lines, types) if t != "2"]
    size = sum(len(c.split()) for c, _ in kept)
    out = path + ".corners.vtk"
    with open(out, "w") as f:
        f.write(f"{head}\nCELLS {len(kept)} {size}\n" + "".join(c + "\n" for c, _ in kept))
        f.write(f"\nCELL_TYPES {len(kept)}\n" + "".join(t + "\n" for _, t in kept))
    return out


def meshio_read(path, e):
    corners_only = e["kind"] == "vtk" and "polyvertex" in e["counts"]
    mesh = meshio.read(without_code_2(path) if corners_only else path)
    counts = collections.Counter()
    for block in mesh.cells:
        counts[block.type] += len(block.data)
    compare("meshio " + os.path.basename(path), e, len(mesh.points), counts, dict(enumerate(mesh.points)),
            skip=("polyvertex",))


def gmsh(path, e):
    out = path + ".msh"
    log = subprocess.run(["gmsh", path, "-0", "-format", "msh22", "-o", out], capture_output=True, text=True,
                         check=True).stdout
    nodes, counts = 0, collections.Counter()
    for n, what in re.findall(r"Info\s*:\s*(\d+) (\w+)\n", log):
        if what == "nodes":
            nodes = int(n)
        elif what in GMSH_NAMES:
            counts[GMSH_NAMES[what]] += int(n)
    # gmsh writes back only the nodes that elements use, numbered anew.
    with open(out) as f:
        lines = f.read().split("$Nodes\n", 1)[1].split("$EndNodes")[0].split("\n")[1:-1]
    points = [[float(x) for x in line.split()[1:]] for line in lines]
    compare("gmsh " + os.path.basename(path), e, nodes, counts, points)


def main(folder):
    with open(os.path.join(folder, "expected.json")) as f:
        expected = json.load(f)
    for e in expected:
        path = os.path.join(folder, e["file"])
        for reader in (vtk9, meshio_read) if e["kind"] == "vtk" else (meshio_read, gmsh):
            try:
                reader(path, e)
            except (Exception, SystemExit) as error:  # meshio exits on a file it cannot read
                failures.append(f"{reader.__name__} {e['file']}: {type(error).__name__} {error}")
    for f in failures:
        print("FAILED", f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
