#include "filtering/deisotope.h"

namespace orvane {

int DeisotopeStrict(ITonalith*, IAnalyzeMSMS*, const DeisotopeSettings&, const Dta& dtaWork,
                    std::vector<double>& vOutIntensity) {
  vOutIntensity = dtaWork.vIntensity;
  return 2;
}
int DeisotopeSoft(ITonalith*, IAnalyzeMSMS*, const DeisotopeSettings&, const Dta& dtaWork,
                  std::vector<double>& vOutIntensity) {
  vOutIntensity = dtaWork.vIntensity;
  return 2;
}

}  // namespace orvane
