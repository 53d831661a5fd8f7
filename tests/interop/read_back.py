"""Reads the files that write_meshes.cpp wrote into DIR with Debian's readers:
the VTK legacy reader of python3-vtk9 and meshio (.vtk), meshio and gmsh
(.mesh). Each must find the nodes of the grid, the elements by type below, and
the coordinates to the precision of the file's number format (`%f` in VTK
files, `%E` in Medit files). meshio reads no cell of VTK code 2 (the nodes
behind the corners), so it gets a copy without those cells.

Usage: python3 read_back.py DIR"""
import collections
import os
import re
import subprocess
import sys

import meshio
from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader

# Elements by type, in the VTK file and in the Medit file, where pyramids and
# prisms are degenerate hexahedra.
EXPECTED = {
    "linear": ({"line": 2, "triangle": 3, "quad": 3, "tetra": 3, "pyramid": 3, "wedge": 3, "hexahedron": 3},
               {"line": 2, "triangle": 3, "quad": 3, "tetra": 3, "hexahedron": 9}),
    "quadratic": ({"line": 1, "triangle": 1, "quad": 2, "tetra": 1, "pyramid": 1, "wedge": 1, "hexahedron": 2,
                   "polyvertex": 9}, {"line": 1, "triangle": 1, "quad": 2, "tetra": 1, "hexahedron": 4}),
    "flat": ({"triangle": 3, "quad": 2}, {"triangle": 3, "quad": 2}),
}
ROWS = {"linear": 3, "quadratic": 3, "flat": 2}
VTK_NAMES = {2: "polyvertex", 3: "line", 5: "triangle", 9: "quad", 10: "tetra", 12: "hexahedron", 13: "wedge",
             14: "pyramid"}
GMSH_NAMES = {"edges": "line", "triangles": "triangle", "quadrangles": "quad", "tetrahedra": "tetra",
              "hexahedra": "hexahedron"}
failures = []


def grid(rows):
    return [[(n // 3**r % 3) * 0.3721 - 1 / 7.0 if r < rows else 0.0 for r in range(3)] for n in range(27)]


def compare(where, nodes, counts, points):
    """`points` maps node ids to coordinates, or lists coordinates that must
    each match some node of the grid."""
    name, ext = os.path.splitext(os.path.basename(where.split()[-1]))
    want_counts = EXPECTED[name][ext == ".mesh"]
    if where.startswith("meshio") and ext == ".vtk":
        want_counts = {k: v for k, v in want_counts.items() if k != "polyvertex"}
    absolute, relative = (5.0001e-7, 1e-15) if ext == ".vtk" else (1e-300, 5.0001e-7)
    nodes_want = grid(ROWS[name])

    def near(p, x):
        return all(abs(a - b) <= absolute + relative * abs(b) for a, b in zip(list(p) + [0.0] * 3, x))

    bad = [list(p) for p in points if not any(near(p, x) for x in nodes_want)] if isinstance(points, list) else \
        [(i, list(p)) for i, p in points.items() if not near(p, nodes_want[i])]
    if nodes != 27 or dict(counts) != want_counts or bad:
        failures.append(f"{where}: {nodes} nodes, elements {dict(counts)}, nodes off: {bad[:3]}")
    print(f"{where}: {nodes} nodes, {sum(counts.values())} elements")


def vtk9(path):
    reader = vtkUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid_ = reader.GetOutput()
    counts = collections.Counter(VTK_NAMES.get(grid_.GetCellType(c), "?") for c in range(grid_.GetNumberOfCells()))
    points = {i: grid_.GetPoint(i) for i in range(grid_.GetNumberOfPoints())}
    compare("vtk9 " + path, grid_.GetNumberOfPoints(), counts, points)


def without_code_2(path):
    """A copy of a VTK file of ours without its cells of code 2."""
    with open(path) as f:
        head, rest = f.read().split("\nCELLS ", 1)
    cells, types = (part.split("\n")[1:-1] for part in rest.split("\nCELL_TYPES ", 1))
    kept = [(c, t) for c, t in zip(cells, types) if t != "2"]
    out = path + ".corners.vtk"
    with open(out, "w") as f:
        f.write(f"{head}\nCELLS {len(kept)} {sum(len(c.split()) for c, _ in kept)}\n")
        f.write("".join(c + "\n" for c, _ in kept) + f"\nCELL_TYPES {len(kept)}\n" + "".join(t + "\n" for _, t in kept))
    return out


def meshio_read(path):
    mesh = meshio.read(without_code_2(path) if path.endswith(".vtk") else path)
    counts = collections.Counter()
    for block in mesh.cells:
        counts[block.type] += len(block.data)
    compare("meshio " + path, len(mesh.points), counts, dict(enumerate(mesh.points)))


def gmsh(path):
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
    compare("gmsh " + path, nodes, counts, [[float(x) for x in line.split()[1:]] for line in lines])


def main(folder):
    for name in EXPECTED:
        for ext, readers in ((".vtk", (vtk9, meshio_read)), (".mesh", (meshio_read, gmsh))):
            for reader in readers:
                try:
                    reader(os.path.join(folder, name + ext))
                except (Exception, SystemExit) as error:  # meshio exits on a file it cannot read
                    failures.append(f"{reader.__name__} {name}{ext}: {type(error).__name__} {error}")
    for f in failures:
        print("FAILED", f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
