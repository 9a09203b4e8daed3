// Thinning out peaks that stand closer than a given spacing. A peak that
// loses keeps its mass and its place and gets intensity 0.
//
// Both rules rest on one relation: for two peaks within the spacing there is
// an edge from the weaker to the stronger peak (of two equal intensities the
// one of lower index counts as the stronger), weighted by the mass difference.
// Intensity, then index, orders all peaks strictly, so the edges never form a
// cycle.
#include <exception>
#include <iterator>
#include <set>
#include <vector>

// Boost's graph headers trip GCC's maybe-uninitialized analysis in optimised
// sanitizer builds (inside named_graph); the code there is not ours to change.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/topological_sort.hpp>
#pragma GCC diagnostic pop

#include "analysis/analysis.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

struct PeakVertex {
  int nIndex = 0;
  double dMass = 0.0;
};

struct PeakLink {
  double dWeight = 0.0;
};

using PeakGraph =
    boost::adjacency_list<boost::vecS, boost::vecS, boost::bidirectionalS, PeakVertex, PeakLink>;
using PeakVertexId = boost::graph_traits<PeakGraph>::vertex_descriptor;

// An edge of the closest-pair rule: from the weaker peak to the stronger.
struct PeakEdge {
  int nSource = 0;
  int nTarget = 0;
  double dWeight = 0.0;
};

// Ordered, and made unique, by weight alone: of several edges with exactly
// the same mass difference only the first one built is kept.
struct ByWeight {
  bool operator()(const PeakEdge& a, const PeakEdge& b) const { return a.dWeight < b.dWeight; }
};
using PeakEdgeSet = std::set<PeakEdge, ByWeight>;

// Calls emit(weaker, stronger, difference) for every pair within dSpacing.
// Masses must ascend: the scan from each peak stops at the first one out of
// reach.
template <typename Emit>
void ForEachClosePair(const Dta& dta, std::uint32_t n, double dSpacing, Emit emit) {
  const std::vector<double>& vMass = dta.vMass;
  const std::vector<double>& vIntensity = dta.vIntensity;
  for (std::uint32_t i = 0; i + 1 < n; ++i) {
    for (std::uint32_t j = i + 1; j < n; ++j) {
      const double d = vMass[j] - vMass[i];
      if (!(d <= dSpacing)) break;  // out of reach (or not a number)
      if (vIntensity[j] > vIntensity[i])
        emit(static_cast<int>(i), static_cast<int>(j), d);
      else
        emit(static_cast<int>(j), static_cast<int>(i), d);
    }
  }
}

}  // namespace

HRESULT MergePeaks(Dta* pDta, double dSpacing) {
  if (pDta == nullptr) return E_POINTER;
  const std::uint32_t n = pDta->GetPeakCount();
  if (n == 0) {
    ShowPlain("Dta not valid");
    return E_UNEXPECTED;
  }
  std::vector<PeakVertexId> vOrder;
  try {
    PeakGraph graph;
    for (std::uint32_t i = 0; i < n; ++i)
      boost::add_vertex(PeakVertex{static_cast<int>(i), pDta->vMass[i]}, graph);
    ForEachClosePair(*pDta, n, dSpacing, [&](int nFrom, int nTo, double d) {
      boost::add_edge(static_cast<PeakVertexId>(nFrom), static_cast<PeakVertexId>(nTo),
                      PeakLink{d}, graph);
    });

    // Reverse topological order: every peak stands behind the stronger
    // neighbours its edges lead to. A peak that still has an edge to a
    // stronger one when its turn comes loses to a survivor; dropping its
    // edges frees the weaker peaks that only it outshone.
    boost::topological_sort(graph, std::back_inserter(vOrder));
    std::vector<bool> vLoses(n, false);
    for (PeakVertexId v : vOrder) {
      if (boost::out_degree(v, graph) > 0) {
        boost::clear_vertex(v, graph);
        vLoses[graph[v].nIndex] = true;
      }
    }
    for (std::uint32_t i = 0; i < n; ++i)
      if (vLoses[i]) pDta->vIntensity[i] = 0.0;
  } catch (const std::exception& e) {
    // Only running out of memory can get here; the peaks are untouched.
    ShowPlain(e.what());
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT MergeClosestPeaks(Dta* pDta, double dSpacing) {
  if (pDta == nullptr) return E_POINTER;
  // A spacing of 0 or below resolves nothing under this rule, not even peaks
  // of equal mass.
  if (!(dSpacing > 0.0)) return S_OK;
  const std::uint32_t n = pDta->GetPeakCount();
  std::vector<bool> vMarked;
  try {
    PeakEdgeSet setEdges;
    // For each peak, the edges of the set that touch it, with the peak at
    // their other end.
    struct Touching {
      int nOther;
      PeakEdgeSet::iterator it;
    };
    std::vector<std::vector<Touching>> vTouching(n);
    ForEachClosePair(*pDta, n, dSpacing, [&](int nFrom, int nTo, double d) {
      const auto [it, bInserted] = setEdges.insert(PeakEdge{nFrom, nTo, d});
      if (bInserted) {
        vTouching[static_cast<std::size_t>(nFrom)].push_back(Touching{nTo, it});
        vTouching[static_cast<std::size_t>(nTo)].push_back(Touching{nFrom, it});
      }
    });

    // The weaker peak of the closest pair left loses; its edges go. An edge
    // is still in the set exactly while neither of its peaks has lost, so an
    // edge to a peak that lost before is gone already and must not be touched.
    vMarked.assign(n, false);
    while (!setEdges.empty()) {
      const int nLoser = setEdges.begin()->nSource;
      for (const Touching& t : vTouching[static_cast<std::size_t>(nLoser)])
        if (!vMarked[static_cast<std::size_t>(t.nOther)]) setEdges.erase(t.it);
      vMarked[static_cast<std::size_t>(nLoser)] = true;
    }
  } catch (const std::exception& e) {
    ShowPlain(e.what());
    return E_OUTOFMEMORY;
  }
  for (std::uint32_t i = 0; i < n; ++i)
    if (vMarked[i]) pDta->vIntensity[i] = 0.0;
  return S_OK;
}

}  // namespace orvane
