#pragma once

// Included by each C++ header: checks the language version and defines the namespace.

#if __cplusplus < 202002L
#include <Caprion needs C++20: compile with -std=c++20>
#endif

#include <version>

// The layout of standard types depends on the standard library and its modes. A program built with another
// layout than this library would link with it and then misread its data. So each unusual layout has its own
// inline namespace, and linking fails: "undefined reference to `caprion::glibcxx_debug::…'".
#if defined(_LIBCPP_VERSION)
#define CAPRION_NAMESPACE caprion::inline libcxx
#elif defined(_GLIBCXX_DEBUG) && defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#define CAPRION_NAMESPACE caprion::inline glibcxx_old_abi_debug
#elif defined(_GLIBCXX_DEBUG)
#define CAPRION_NAMESPACE caprion::inline glibcxx_debug
#elif defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#define CAPRION_NAMESPACE caprion::inline glibcxx_old_abi
#else
#define CAPRION_NAMESPACE caprion
#endif
