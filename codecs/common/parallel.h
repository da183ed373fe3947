// Independent pieces of work on OpenMP's threads.
#pragma once

#include <omp.h>

#include <exception>

namespace zelcodecs {

// The threads to use where an option says how many, or 0 for as many as OpenMP gives.
inline int threadCount(int wanted) { return wanted > 0 ? wanted : omp_get_max_threads(); }

// Calls work(i) for i below count, in any order. Of the exceptions thrown one is passed on when all is done.
template <class Work>
void forEachPiece(int count, int threads, const Work& work) {
  std::exception_ptr failure;
#pragma omp parallel for num_threads(threads) schedule(dynamic) if (threads > 1 && count > 1)
  for (int i = 0; i < count; ++i) {
    try {
      work(i);
    } catch (...) {
#pragma omp critical(zelcodecs_failure)
      failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace zelcodecs
