#include "voice/IIR.h"

namespace morv {

void initIIR(iir* filter, int sections, const float* coefficients) {
  filter->sections = sections;
  filter->state.assign(static_cast<std::size_t>(sections) * 2, 0.0F);
  filter->coefficients = coefficients;
}

void initIIRD(iird* filter, int sections, const double* coefficients) {
  filter->sections = sections;
  filter->state.assign(static_cast<std::size_t>(sections) * 2, 0.0);
  filter->coefficients = coefficients;
}

}  // namespace morv
