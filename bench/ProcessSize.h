// What this process holds.
#pragma once

#include <vector>

struct ProcessSize {
    static ProcessSize Now();

    double resident_kib = 0;
    int descriptors = 0;
    int threads = 0;
};

// The slope of `values`, taken at equal distances, by least squares: per step.
double Slope(const std::vector<double>& values);
