// Several inputs, and what becomes of them.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "fourtap/Options.h"

namespace tool {

struct Batch {
  // Names of the results, by input; none where the result of an input before has that name.
  std::vector<std::optional<std::string>> outputs;
  int jobs;  // that are worked on at a time
};

// Where the results of all inputs go, and how many jobs may do it so that it comes out as if one did.
Batch PlanBatch(Options const& options);

// Does job 0, job 1 and so on below `count`, begun in this order, as many at a time as `jobs` says or the system starts
// threads for. What a job says comes as if they were done one after the other. Returns the highest status that `job`
// returns, which must not throw.
int DoJobs(size_t count, int jobs, std::function<int(size_t)> const& job);

// Processors that each job has for itself.
int ProcessorsPerJob(Options const& options);

}  // namespace tool
