// The search of the analysers for colour: downhill on a grid that gets finer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Goes to the best neighbour, one step up or down along one axis, while one is better than where it
// stands; else on with a third of the step. Of equals the first counts: up before down, earlier
// axes first. `goesOn(pass, step)` is asked ahead of each round of trials. Costs fall with every
// move, and tables of 16 bits have finitely many: it ends without a count of passes, too.
template <std::size_t N, typename GoesOn, typename Cost>
void SearchNeighbours(std::array<double, N>* at, double step, const GoesOn& goesOn,
                      const Cost& cost) {
    double best = cost(*at);
    for (std::int64_t pass = 0; goesOn(pass, step); ++pass) {
        std::array<double, N> winner = *at;
        bool found = false;
        for (std::size_t axis = 0; axis < N; ++axis) {
            for (const double move : {step, -step}) {
                std::array<double, N> trial = *at;
                trial[axis] += move;
                const double rated = cost(trial);
                if (rated < best) {
                    best = rated;
                    winner = trial;
                    found = true;
                }
            }
        }
        *at = winner;
        if (!found)
            step /= 3.0;
    }
}
