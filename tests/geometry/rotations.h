// Square matrices in double precision, as [row][column], and that of a quaternion.
#pragma once
#include <array>
#include <cstddef>

template <size_t N> struct square_matrix {
    std::array<std::array<double, N>, N> e;
};

template <size_t N> square_matrix<N> operator*(const square_matrix<N> &a, const square_matrix<N> &b)
{
    square_matrix<N> m{};
    for (size_t i = 0; i < N; i++)
        for (size_t j = 0; j < N; j++)
            for (size_t k = 0; k < N; k++)
                m.e[i][j] += a.e[i][k] * b.e[k][j];
    return m;
}

// Of x, y, z, w with length 1.
template <typename T> square_matrix<3> of_quat(const T *q)
{
    const double x = q[0], y = q[1], z = q[2], w = q[3];
    return {{{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
              {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
              {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}}};
}
