// Runs a function on a thread with a stack of 1 MiB, which is what a thread has on
// Windows unless it asks for more.
//
//   RunOnSmallStack([] { DestroyAVeryDeepTree(); });
//
// The call returns when the function has.  GoogleTest's assertions may be used inside;
// a fatal one leaves the function, not the test.

#ifndef TREE_TESTS_SUPPORT_SMALLSTACKTHREAD_H
#define TREE_TESTS_SUPPORT_SMALLSTACKTHREAD_H

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <functional>

#if defined(_WIN32)
#include <thread>
#else
#include <pthread.h>
#endif

constexpr std::size_t kSmallStack = std::size_t{1} << 20;

inline void RunOnSmallStack(const std::function<void()>& function) {
  auto guarded = [&] {
    try {
      function();
    } catch (const std::exception& error) {
      ADD_FAILURE() << "The thread ended with an exception: " << error.what();
    }
  };
#if defined(_WIN32)
  std::thread thread(guarded);
  thread.join();
#else
  using Guarded = decltype(guarded);
  pthread_attr_t attributes;
  ASSERT_EQ(0, pthread_attr_init(&attributes));
  ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kSmallStack));
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<Guarded*>(argument))();
    return nullptr;
  };
  const int failure = pthread_create(&thread, &attributes, start, &guarded);
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(0, failure);
  ASSERT_EQ(0, pthread_join(thread, nullptr));
#endif
}

#endif  // TREE_TESTS_SUPPORT_SMALLSTACKTHREAD_H
