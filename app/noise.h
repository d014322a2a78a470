// Matrices filled from a functor, as the verb noise makes them.
#pragma once
#include <string>
#include <vector>

#include "matrix.h"

namespace program {

struct filling {
    std::string functor;
    std::vector<std::string> settings; // "role.role.attribute=value value ..."
    std::vector<long> dim;             // of two cells at least
    std::vector<double> scale;         // units across each dimension; what is missing keeps cells square
    std::vector<double> origin;        // of the first cell
    std::string type = "char", precision = "float32";
    long planes = 1;
    double weight = 1;
};

// Every name that functors go by, sorted: of one category, or of all.
std::vector<std::string> functor_names(const char *category = nullptr);

// An unknown functor, role or attribute, and a value that is refused, fail with the name.
matrix filled(const filling &f);

// Every noise, fractal, filter, distance and transfer on one picture, with its name: fields
// from black at their lowest value to white at their highest, transfers as curves over -0.5 to 1.5.
matrix contact_sheet();

} // namespace program
