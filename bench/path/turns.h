// Benchmarks whose figures are compared with each other.
#pragma once

#include <map>
#include <string>

/// Runs the registered benchmarks in turns, so that a slow moment of the machine meets all of them,
/// and prints the usual table. Returns the median processor time of each, in nanoseconds, by the
/// name of its function; they must have been registered with repetitions.
std::map<std::string, double> runInTurns(int argc, char** argv);
