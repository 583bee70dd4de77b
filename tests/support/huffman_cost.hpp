// What the best code for these weights costs, computed without making one.
#pragma once

#include <cstdint>
#include <functional>
#include <queue>
#include <vector>

namespace support {

// The sum of all inner nodes.
template <class Weight>
uint64_t optimalCost(const std::vector<Weight>& weights) {
    std::priority_queue<uint64_t, std::vector<uint64_t>, std::greater<>> queue(weights.begin(),
                                                                               weights.end());
    uint64_t cost = 0;
    while (queue.size() > 1) {
        uint64_t sum = queue.top();
        queue.pop();
        sum += queue.top();
        queue.pop();
        queue.push(sum);
        cost += sum;
    }
    return cost;
}

}  // namespace support
