// mix_cost.h - the worst measured cost of mixing one output frame, for each voice class, format and path.
#pragma once

class Voice_t;

// Seconds; 0.0 means unmeasured. Entries never go down and live as long as the process. Thread: host.
struct MixCostTable_t {
    float costs[8]{};

    float CostFor(const Voice_t* voice) const;
    void RaiseFor(const Voice_t* voice, float cost);
};
