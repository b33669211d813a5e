#pragma once

#include <functional>
#include <vector>

/// Runs the bodies at the same time, each on a thread of the host, to their ends. They must not throw.
void RunAtOnce(const std::vector<std::function<void()>>& bodies);
