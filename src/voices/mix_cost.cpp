#include "voices/mix_cost.h"

#include "voices/voice.h"

namespace {

// Volume and frequency lead to the gain path. Pan needs no test: channels that differ cannot both have a
// volume of 1.0.
unsigned CostIndex(const Voice_t& voice) {
    return (voice.is16Bit ? 4u : 0u) + (voice.isStereo ? 2u : 0u) +
           ((voice.pathFlags & (pathVolume | pathFrequency)) ? 1u : 0u);
}

}  // namespace

float MixCostTable_t::CostFor(const Voice_t* voice) const { return costs[CostIndex(*voice)]; }

void MixCostTable_t::RaiseFor(const Voice_t* voice, float cost) {
    float& entry = costs[CostIndex(*voice)];
    if (entry < cost) entry = cost;
}
