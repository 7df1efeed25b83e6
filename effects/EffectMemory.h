#pragma once

#include <algorithm>
#include <cstddef>

#include "effects/AllPass.h"
#include "effects/BBDLine.h"
#include "effects/Comb.h"
#include "effects/FIR.h"
#include "effects/UniComb.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Empties an effect's memory slice by slice: each time the effect walks through all that it has, in one
// order, and of that what lies in the slice is zeroed. Positions and small states start over each time, as
// the effect does not run meanwhile. Render thread.
class EffectMemory {
 public:
  // A slice of `count` floats behind the first `from`.
  EffectMemory(std::size_t from, std::size_t count) noexcept MORV_NONBLOCKING : from_(from),
                                                                                end_(from + count) {}

  void forget(ZeroedFloats& buffer) noexcept MORV_NONBLOCKING {
    const std::size_t start = walked_;
    walked_ += buffer.size();
    const std::size_t low = std::max(from_, start);
    const std::size_t high = std::min(end_, walked_);
    if (low < high) std::fill_n(buffer.data() + (low - start), high - low, 0.0F);
  }
  template <typename Line>
  void forgetLine(Line& line) noexcept MORV_NONBLOCKING {
    forget(line.buffer);
    line.writeIndex = 0;
    line.position = 0;
    line.state = 0;
  }
  void forget(uniComb& line) noexcept MORV_NONBLOCKING { forgetLine(line); }
  void forget(ap& line) noexcept MORV_NONBLOCKING { forgetLine(line); }
  void forget(comb& line) noexcept MORV_NONBLOCKING {
    forget(line.buffer);
    line.writeIndex = 0;
    line.lastOutput = 0;
    line.filterState = 0;
  }
  void forget(fir& filter) noexcept MORV_NONBLOCKING {
    forget(filter.buffer);
    filter.index = 0;
  }
  // The noise goes on.
  void forget(bbd& line) noexcept MORV_NONBLOCKING {
    forget(line.delayBuffer);
    forget(line.stageBuffer);
    for (iird* filter : {&line.inputFilter, &line.outputFilter, &line.compressor, &line.expander}) {
      std::fill(filter->state.begin(), filter->state.end(), 0.0);
    }
    line.writeIndex = 0;
    line.feedbackOut = 0;
    line.clockPhase = 0;
  }
  template <typename First, typename Second, typename... Others>
  void forget(First& first, Second& second, Others&... others) noexcept MORV_NONBLOCKING {
    forget(first);
    forget(second, others...);
  }
  template <typename Records>
  void forgetEach(Records& records) noexcept MORV_NONBLOCKING {
    for (auto& record : records) forget(record);
  }

  // Floats that the walk came by.
  std::size_t walked() const noexcept MORV_NONBLOCKING { return walked_; }

 private:
  std::size_t from_;
  std::size_t end_;
  std::size_t walked_ = 0;
};

}  // namespace morv
