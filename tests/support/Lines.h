#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;
