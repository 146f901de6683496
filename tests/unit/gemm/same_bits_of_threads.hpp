#pragma once

// The promise that products keep at every number of threads.

#include "paths.hpp"
#include "product_case.hpp"

#include <gtest/gtest.h>

#include <initializer_list>

namespace test {

// C of multiply on one thread and on each of thread_counts, on every path.
template <class T, class Product>
void expect_same_bits_of_threads(std::initializer_list<product_shape> shapes,
                                 const Product& multiply)
{
    for (const product_shape& shape : shapes)
        for (const int path : available_paths()) {
            const path_limit limit(path);
            const product_case<T> start(shape, random_vector<T>);
            product_case<T> serial = start;
            {
                const thread_limit one(1);
                serial.run(multiply);
            }
            for (const std::size_t threads : thread_counts) {
                const thread_limit cap(threads);
                product_case<T> got = start;
                got.run(multiply);
                ASSERT_TRUE(same_bits(got.c, serial.c))
                    << label(shape) << ", path " << path << ", threads " << threads;
            }
        }
}

} // namespace test
