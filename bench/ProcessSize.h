// What a process holds.
#pragma once

#include <sys/types.h>

#include <vector>

struct ProcessSize {
    static ProcessSize Now();          // this one
    static ProcessSize Of(pid_t pid);  // zeros when it is gone

    double resident_kib = 0;
    int descriptors = 0;
    int threads = 0;
};

// The slope of `values`, taken at equal distances, by least squares: per step.
double Slope(const std::vector<double>& values);
