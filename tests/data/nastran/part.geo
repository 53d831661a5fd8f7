// A small plate with a hole, meshed in tetrahedra: the deck that the NASTRAN
// tests read as a generator writes it.
SetFactory("OpenCASCADE");
Box(1) = {0, 0, 0, 4, 2, 1};
Cylinder(2) = {2, 1, 0, 0, 0, 1, 0.5};
BooleanDifference{ Volume{1}; Delete; }{ Volume{2}; Delete; }
Mesh.MeshSizeMax = 0.8;
