#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace mox::test::model {

/// The shortest part of `steps`, in the same order, that was found still to fail: chunks are left out as long
/// as `fails` says so, at first halves, at last single steps. `steps` themselves fail.
template<typename Step>
std::vector<Step> shrunk(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails) {
    for (std::size_t size = std::max<std::size_t>(steps.size() / 2, 1);;) {
        bool isShorter = false;
        for (std::size_t start = 0; start < steps.size();) {
            const std::size_t end = std::min(start + size, steps.size());
            std::vector<Step> candidate(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(start));
            candidate.insert(candidate.end(), steps.begin() + static_cast<std::ptrdiff_t>(end), steps.end());
            if (fails(candidate)) {
                steps = std::move(candidate);
                isShorter = true;
            } else {
                start = end;
            }
        }
        if (size > 1)
            size = std::max<std::size_t>(size / 2, 1);
        else if (!isShorter)
            return steps;
    }
}

} // namespace mox::test::model
