#!/bin/sh
# Writes the gmsh decks of the NASTRAN tests from part.geo: the whole mesh
# (bars, triangles, tetrahedra) in free field, the surface mesh in small field. gmsh writes
# no "BEGIN BULK" line, which the reader needs: the tests add it themselves.
set -e
cd "$(dirname "$0")"
gmsh -3 part.geo -format bdf -string "Mesh.BdfFieldFormat=0;" -o part_tets_free.bdf >/dev/null
gmsh -2 part.geo -format bdf -string "Mesh.BdfFieldFormat=1;" -o part_tris_small.bdf >/dev/null
