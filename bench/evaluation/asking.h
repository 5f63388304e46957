#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "collection.h"
#include "questions.h"

namespace bench {

/// What heads the answers' lines.
inline constexpr const char* kAnswerColumns =
    "kind,source,excerpt,condition,seconds,features,best_name,best,second,other,named\n";

/// Asks a collection and writes a line of CSV for each answer: the best candidate's name, the
/// features that agree with it, with the second, and with the best of another name, all by the
/// engine, and the name that the tool gives it. What has no features gets a line, too.
///
/// @param further  audios of chance for each of the collection's; 0 for the collection itself
std::string answers(const Collection& collection, const Listed& recording,
                    const std::vector<Question>& questions, std::size_t further);

}  // namespace bench
