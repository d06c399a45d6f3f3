// What can go wrong while a table library is made, sorted by whose turn it is to act.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace wbtables {

enum class Failure {
    refused,  // the manifest, its secrets or the key set
    compiler, // the compiler could not be run or failed
    library,  // the library did not pass its check or could not be written
};

class Error : public std::runtime_error {
  public:
    Error(Failure failure, const std::string &message) : std::runtime_error(message), failure_(failure) {}
    [[nodiscard]] Failure failure() const { return failure_; }

  private:
    Failure failure_;
};

// Thrown where BuildOptions::interruptions says so.
class Interrupted : public std::exception {
  public:
    [[nodiscard]] const char *what() const noexcept override { return "interrupted"; }
};

} // namespace wbtables
