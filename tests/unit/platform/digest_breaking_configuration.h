// A configuration of the digest library that leaves it without SHA-256, named in the environment as the library looks
// for it. The library looks once in a process, so this is for one that has made no digest yet: a death test's.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace tavi::platform::testing {

// Names a configuration of its own for each program of tests: they may run at the same time.
inline void NameADigestBreakingConfiguration(const std::string& program) {
    const std::string path = ::testing::TempDir() + "tavi_" + program + "_openssl.cnf";
    std::ofstream(path) << "openssl_conf = all\n"
                           "[all]\nproviders = providers\n"
                           "[providers]\nnull = nothing\n"
                           "[nothing]\nactivate = 1\n";
#ifdef _WIN32
    _putenv_s("OPENSSL_CONF", path.c_str());
#else
    ::setenv("OPENSSL_CONF", path.c_str(), 1);
#endif
}

}  // namespace tavi::platform::testing
