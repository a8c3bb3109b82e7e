// argument_tables.h - argument checks as tables: one row per call, its arguments written as
// words and the info it must give.
#pragma once

#include "blas/blas_test_support.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace kernel_tests {

using blas_test::Api;
using blas_test::apiName;
using blas_test::kApis;

// One argument of a table row: a letter for a char, a number for an int or a real ("nan" too),
// "p" for a valid pointer and "0" for null; a complex scalar is always 1.
template <typename A>
A parseArg(std::istream& in, void* buffer) {
    std::string w;
    in >> w;
    if constexpr (std::is_pointer_v<A>)
        return w == "p" ? static_cast<A>(buffer) : nullptr;
    else if constexpr (std::is_same_v<A, char>)
        return w[0];
    else if constexpr (std::is_same_v<A, int>)
        return std::stoi(w);
    else if constexpr (std::is_floating_point_v<A>)
        return A(std::stod(w));
    else
        return A{1, 0};
}

// Rows "arguments : info" separated by ';', run through `entryOf(api)` on both interfaces: a
// negative info is the argument error expected, 0 an accepted call. Each row fails (or returns at
// once) before any array is touched, so a host buffer stands in for a valid pointer.
template <typename Entry>
void expectInfos(Entry entryOf, const std::string& table) {
    std::vector<double> buffer(256);
    std::istringstream rows(table);
    for (std::string row; std::getline(rows, row, ';');)
        for (Api via : kApis) {
            SCOPED_TRACE(row + " " + apiName(via));
            const size_t colon = row.rfind(':');
            const int info = std::stoi(row.substr(colon + 1));
            std::istringstream in(row.substr(0, colon));
            const zuliStatus s = [&]<typename... A>(zuliStatus (*fn)(A...)) {
                const std::tuple<A...> args{parseArg<A>(in, buffer.data())...};
                return std::apply(fn, args);
            }(entryOf(via));
            EXPECT_EQ(s, info ? zuliArgumentError : zuliNoError);
            if (info) {
                EXPECT_EQ(zuliGetErrorInfo(), info);
            }
        }
}

}  // namespace kernel_tests
