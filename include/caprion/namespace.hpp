#pragma once

// What each C++ header here begins with: the language that it takes, and the namespace that it is in.

#if __cplusplus < 202002L
#include <Caprion needs C++20: compile with -std=c++20>
#endif

#include <version>

// A standard library that lays its types out otherwise than usual makes programs and libraries that look
// alike and misread each other. So these ways have a namespace of their own within `caprion`, and what was
// built in another way than the library doesn't link with it: "undefined reference to
// `caprion::glibcxx_debug::…'".
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
