/// @file
/// Umbrella header: every public header of the library.
#pragma once

#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>
#include <tq5/containers/storage.hpp>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/core/histogram.hpp>
#include <tq5/cellworks/core/indices.hpp>
#include <tq5/cellworks/core/version.hpp>

#include <tq5/cellworks/connectivity/boundaries.hpp>
#include <tq5/cellworks/connectivity/element_ordering.hpp>
#include <tq5/cellworks/connectivity/neighbors.hpp>
#include <tq5/cellworks/connectivity/node_graph.hpp>
#include <tq5/cellworks/connectivity/subdomains.hpp>

#include <tq5/cellworks/metrics/bounds.hpp>
#include <tq5/cellworks/metrics/conversion.hpp>
#include <tq5/cellworks/metrics/edge_quality.hpp>
#include <tq5/cellworks/metrics/edges.hpp>
#include <tq5/cellworks/metrics/eigen.hpp>
#include <tq5/cellworks/metrics/gradation.hpp>
#include <tq5/cellworks/metrics/lapack.hpp>
#include <tq5/cellworks/metrics/min_max.hpp>
#include <tq5/cellworks/metrics/shock.hpp>
#include <tq5/cellworks/metrics/validity.hpp>

#include <tq5/cellworks/editing/cleaning.hpp>
#include <tq5/cellworks/editing/merge.hpp>
#include <tq5/cellworks/editing/mesh_copies.hpp>
#include <tq5/cellworks/editing/node_detector.hpp>
#include <tq5/cellworks/editing/transforms.hpp>

#include <tq5/cellworks/exchange/ensight.hpp>
#include <tq5/cellworks/exchange/femap.hpp>
#include <tq5/cellworks/exchange/medit.hpp>
#include <tq5/cellworks/exchange/nastran.hpp>
#include <tq5/cellworks/exchange/obj.hpp>
#include <tq5/cellworks/exchange/stl.hpp>
#include <tq5/cellworks/exchange/vtk.hpp>

#include <tq5/cellworks/quality/shape_qualities.hpp>
