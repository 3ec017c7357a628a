#pragma once

#include "platform/url_session.hpp"

#include <caprion/caprion.hpp>

#include <memory>
#include <mutex>
#include <string>

namespace caprion {

/// What the client holds: the session, and the latest task of each kind.
struct Caprion::Impl {
  URLSession& urlSession = URLSession::shared();

  std::mutex mutex;  // of the tasks
  std::shared_ptr<URLSessionTask> queryTask;
};

}  // namespace caprion
