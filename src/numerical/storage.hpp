#pragma once

// Element stores made without avoidable page faults. A fresh block of 4 MiB or more is advised to
// lie on huge pages before it is first touched: otherwise the first write of every 4 KiB page costs
// a fault, which for a large result is several times the cost of computing it.

#include "numerical/aligned_vector.hpp"

#include <complex>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace numerical::detail {

// Advises huge pages for the whole 2 MiB pages inside a block.
void advise_whole_pages(void* block, std::size_t bytes);

// The same for a block of at least 4 MiB; the advice may be refused without harm.
inline void advise_huge_pages(void* block, std::size_t bytes)
{
    if (bytes >= std::size_t{4} << 20)
        advise_whole_pages(block, bytes);
}

// Makes malloc keep freed blocks of up to 32 MiB for the next call, as glibc's does by itself once
// a program has freed a block of that size (mallopt(3), M_MMAP_THRESHOLD): the thresholds above
// which it maps a block of its own, and gives free memory at the end of the heap back, follow the
// largest mapped block freed so far. Below them a matrix of some 100 KiB is mapped or returned at
// each call, and the faults of its pages take up to half of the time of an inverse.
void keep_freed_blocks();

// An empty vector with room for `count` elements, to be filled by insert or push_back.
template <class T>
aligned_vector<T> reserved(std::size_t count)
{
    aligned_vector<T> store;
    if (count > store.max_size()) // the words of the sizing constructor, not those of reserve
        return aligned_vector<T>(count);
    store.reserve(count);
    advise_huge_pages(store.data(), count * sizeof(T));
    return store;
}

// A vector whose elements are not set yet, for the moment between its allocation and the loop that
// writes all of it. The sizing constructor of std::vector would write zeros first: a pass of memory
// that costs a tenth to a half of an element-wise result. So the end pointer of libstdc++'s vector,
// a protected member open to derived classes, is moved without that pass.
template <class T>
struct unset_vector : aligned_vector<T>
{
    static_assert(std::is_trivially_copyable_v<T>);

    explicit unset_vector(std::size_t count) : aligned_vector<T>(reserved<T>(count))
    {
        this->_M_impl._M_finish += count;
    }
};

// `count` elements of any value, to be written by the caller before anything reads them.
template <class T>
aligned_vector<T> uninitialized(std::size_t count)
{
    return static_cast<aligned_vector<T>&&>(unset_vector<T>(count));
}

// std::complex has constructors, so that the library fills and copies vectors of it element by
// element; filling and copying bytes is several times faster.

// Sets the `count` elements at `to` to zero.
template <class T>
void set_zero(T* to, std::size_t count)
{
    static_assert(std::is_trivially_copyable_v<T>);
    if (count != 0)
        std::memset(static_cast<void*>(to), 0, count * sizeof(T));
}

// The same for the bytes of a new block. The pages of a block so large that it comes fresh from the
// system at each call are already zero, and aren't cleared again.
void clear_new_block(void* block, std::size_t bytes);

// `count` elements, all zero.
template <class T>
aligned_vector<T> zeros(std::size_t count)
{
    aligned_vector<T> store = uninitialized<T>(count);
    clear_new_block(store.data(), count * sizeof(T));
    return store;
}

// A copy of the `count` elements at `from`, without filling the store with zeros first.
template <class T>
aligned_vector<T> copy_of(const T* from, std::size_t count)
{
    aligned_vector<T> store = uninitialized<T>(count);
    if (count != 0)
        std::memcpy(static_cast<void*>(store.data()), from, count * sizeof(T));
    return store;
}

} // namespace numerical::detail
