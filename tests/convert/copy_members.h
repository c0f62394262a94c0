// The data-movement families (Copy, CopyManaged, Set, SwapChannels, Dup) described as data:
// each member is its image layouts, a channel map and a call. One scalar model runs every
// member: for each pixel (where the mask allows), each destination slot keeps its content,
// takes a source slot, a value entry or the extra constant. The tests build random arguments,
// run the model on a snapshot and the library on the real memory, and compare every byte.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "zel_test_kit.h"

namespace ct {

enum class Family { Copy, Managed, Set, Swap, Dup };

// One image argument.
struct Layout {
    int stride = 0;            // samples per pixel of the image the pointer lies in; 0: absent
    int planes = 1;            // above 1: an array of plane pointers sharing one step
    bool channelPtr = false;   // the pointer addresses one channel inside each pixel

    int slots() const { return planes > 1 ? planes : channelPtr ? 1 : stride; }
};

// Where a destination slot's sample comes from.
struct Source {
    enum Kind { Keep, Src, Value, Extra } kind;
    int index = 0;
};

// Everything any member takes. Pointers are plane or image pointers; arrays (plane pointers,
// values, order) are passed to the library from guarded memory so that reading past their
// length faults.
struct Args {
    const uint8_t* src[4] = {};
    bool srcArrayNull = false;
    int64_t srcStep = 0;
    uint8_t* dst[4] = {};
    bool dstArrayNull = false;
    int64_t dstStep = 0;
    int64_t width = 0, height = 0;
    const uint8_t* mask = nullptr;
    int64_t maskStep = 0;
    uint8_t value[32] = {};  // one sample, or one per channel
    bool valueNull = false;
    uint8_t extra[8] = {};   // the constant of SwapChannels C3C4R
    int order[4] = {};
    bool orderNull = false;
    int flags = 0;
};

enum class Order { None, Plain, C4C3, C3C4 };

struct Member {
    std::string name;
    Family family = Family::Copy;
    int elem = 1;            // bytes per sample
    Layout src, dst;
    bool mask = false;
    bool inPlace = false;    // one image, source and destination
    bool longForm = false;   // 64-bit steps and sizes
    int values = 0;          // Set: samples in the value (1 scalar, else an array)
    bool valueArray = false;
    Order order = Order::None;
    int orderLen = 0;
    std::vector<Source> fixedMap;  // when the map does not depend on the order
    std::function<ZelStatus(const Args&)> call;

    std::vector<Source> map(const Args& a) const;
    int pixelBytes() const { return std::max(src.stride, dst.stride) * elem; }
};

const std::vector<Member>& members();
const Member& member(const std::string& name);

// Applies the member's rule to the memory `a` points at.
void model(const Member& m, const Args& a);

// Random arguments for a member on guarded memory: regions[] owns the memory.
struct Trial {
    std::vector<zt::Region> regions;
    Args args;
    std::vector<const zt::Region*> watch() const {
        std::vector<const zt::Region*> w;
        for (auto& r : regions) w.push_back(&r);
        return w;
    }
};

struct TrialShape {
    int width = 0, height = 0;  // 0: random
    bool inPlace = false;       // force source == destination (SwapChannels C3R)
    bool plainSteps = false;    // positive steps only
};
Trial makeTrial(const Member& m, zt::Rng& rng, zt::Tight tight, const TrialShape& shape = {});

// Runs the member on the arguments and the model on a snapshot; every watched byte must agree.
void expectModel(const Member& m, const Args& a, const std::vector<const zt::Region*>& watch);

// The member's whole argument-check order as a table.
zt::CheckOrder<Args> checkOrder(const Member& m, const Trial& t);

}  // namespace ct
