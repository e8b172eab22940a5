#pragma once

#include <string>

namespace vesk::test {

struct Certificate {
  std::string certificate = {};  // PEM
  std::string key = {};          // PEM
};

struct CertificateRequest {
  std::string host = "localhost";
  long validFrom = -3600;  // seconds from now
  long validTo = 3600;
};

// Issues certificates of its own, trusted by whoever is told to trust it.
class TestAuthority {
 public:
  TestAuthority();

  const std::string& certificate() const { return own_.certificate; }
  Certificate issue(const CertificateRequest& request = {}) const;
  // One that vouches for itself.
  static Certificate selfSigned();

 private:
  Certificate own_;
};

}  // namespace vesk::test
