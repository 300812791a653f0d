// What a benchmark program has to be measured, by name, and the loop in which it obeys whoever
// measures: so that things in one program, in two, and in Python can take turns within one run.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace velmora::bench {

// Does its work `count` times. Returns what that was measured to be, in most cases the seconds.
using Subject = std::function<double(std::size_t count)>;
using Subjects = std::map<std::string, Subject>;

// The seconds that `work` takes.
double secondsOf(const std::function<void()>& work);

// The subject that calls `once` as often as it is told, and is measured in seconds.
Subject timed(std::function<void()> once);

// For each line "NAME COUNT" on standard input, has that subject work and answers with a line: what
// was measured. Returns the status of the program: 0 at the end of the input, 1 after a failure,
// which is told on standard error.
int obey(const Subjects& subjects);

// Raises std::runtime_error, with errno's words, when `succeeded` is false.
void require(bool succeeded, const char* what);

}  // namespace velmora::bench
