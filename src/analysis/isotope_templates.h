// Expected shapes of isotope clusters of multiply charged fragments: 60 rows
// of integer heights on the 0.05 grid, one row per 100 mass units of fragment
// mass. The threefold table has rows of 25 columns, the twofold of 41.
#pragma once

#include <cstdint>
#include <vector>

namespace orvane {

class IsotopeTemplates {
 public:
  static constexpr int kRows = 60;

  // nCharge 3 builds the threefold table, anything else the twofold one.
  explicit IsotopeTemplates(int nCharge);
  IsotopeTemplates(const IsotopeTemplates& other);
  IsotopeTemplates& operator=(const IsotopeTemplates& other);

  int GetColumns() const { return nColumns; }
  int GetCharge() const { return nCharge; }
  // A copy of the row for the mass-to-charge value dMass; the row index
  // (dMass - 1) * nCharge / 100 is clamped into 0..59.
  std::vector<std::int32_t> GetTemplate(double dMass) const;
  // The row itself, for tests and the cluster search.
  const std::int32_t* Row(int nRow) const;

 private:
  std::vector<std::int32_t> vRows;
  const std::int32_t* pTable = nullptr;
  std::int32_t nColumns = 0;
  std::int32_t nCharge = 0;
};

}  // namespace orvane
