// Found cluster starts and the peaks that replace them.
#pragma once

#include <cstdint>
#include <vector>

namespace orvane {

// A cluster start as a pair of positions: into vMass of the working spectrum
// and into vIntensity of its dense copy. Both spectra must outlive the list
// and keep their number of points.
struct ClusterRef {
  std::vector<double>::const_iterator itMass;
  std::vector<double>::iterator itIntensity;
};
using ClusterList = std::vector<ClusterRef>;

// A deconvoluted peak: its singly charged mass and the intensity of the
// cluster's first point; the index of that point on the grid and the charge
// of the cluster.
struct DeconvolutedPeak {
  double dMass = 0.0;
  double dIntensity = 0.0;
  std::uint32_t nPoint = 0;
  std::int32_t nCharge = 0;
};
using DeconvolutedPeakList = std::vector<DeconvolutedPeak>;

}  // namespace orvane
