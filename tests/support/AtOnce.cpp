#include "support/AtOnce.h"

#include <thread>

void RunAtOnce(const std::vector<std::function<void()>>& bodies) {
  std::vector<std::thread> threads;
  for (const std::function<void()>& body : bodies)
    threads.emplace_back(body);
  for (std::thread& thread : threads)
    thread.join();
}
