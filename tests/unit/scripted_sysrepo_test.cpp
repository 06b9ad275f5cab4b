// The scripted sysrepo replaces the library: its own results must be those of the
// library.
#include "scripted_sysrepo.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

class ScriptedSysrepo : public testing::Test {
  protected:
    void SetUp() override {
        scripted::reset();
        library_ = dlopen("libsysrepo.so.5", RTLD_NOW | RTLD_LOCAL);
        if (library_ == nullptr) {
            GTEST_SKIP() << "no sysrepo library for this architecture: " << dlerror();
        }
    }
    ~ScriptedSysrepo() override {
        if (library_ != nullptr) {
            dlclose(library_);
        }
    }

    // The library's own function of that name and type.
    template <typename Function>
    Function *real(const char *name) const {
        return reinterpret_cast<Function *>(dlsym(library_, name));
    }

  private:
    void *library_ = nullptr;
};

std::optional<std::string> optional_text(const char *text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

TEST_F(ScriptedSysrepo, KnowsTheLibrarysErrorTexts) {
    for (int code = -2; code <= 25; ++code) {
        EXPECT_STREQ(sr_strerror(code), real<decltype(sr_strerror)>("sr_strerror")(code)) << code;
    }
}

// Paths, some of them malformed.
std::vector<std::string> paths() {
    std::vector<std::string> all = {"/orv_bgp:router-bgp/as",
                                    "/a",
                                    "a",
                                    "/a/b",
                                    "/a/m:b",
                                    "/a/b/",
                                    "//",
                                    "/a//b",
                                    "/b[k='v']",
                                    "/a/b[k='10.0.0.0/8']",
                                    "/a/b[k=\"x/y\"]",
                                    "/a[k='x]']/b",
                                    "/a[k='it\"s']/b[l='w']/c",
                                    "/m:a/b[k='v'][l='w']/c",
                                    "/m:a/bb[k='v']/b[k='w']",
                                    "/m:a/b[k='']/c",
                                    "/m:a/b[k='v",
                                    "/m:a/b[k='x]y[z']/c",
                                    "/m:a/b[k=w'v']/c"};
    constexpr const char *parts[] = {"/", "a", "b", "m:", "[k=", "[l=", "'", "\"", "]", "v", "/b"};
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string path = "/";
        for (auto left = random() % 16; left > 0; --left) {
            path += parts[random() % std::size(parts)];
        }
        all.push_back(path);
    }
    return all;
}

TEST_F(ScriptedSysrepo, TakesNodeNamesAsTheLibraryDoes) {
    auto *node_name = real<decltype(sr_xpath_node_name)>("sr_xpath_node_name");
    for (const std::string &path : paths()) {
        EXPECT_EQ(optional_text(sr_xpath_node_name(path.c_str())),
                  optional_text(node_name(path.c_str())))
            << path;
    }
}

TEST_F(ScriptedSysrepo, TakesKeysAndCutsPathsAsTheLibraryDoes) {
    auto *key_value = real<decltype(sr_xpath_key_value)>("sr_xpath_key_value");
    for (const std::string &path : paths()) {
        for (const char *key : {"k", "l", "missing"}) {
            std::string scripted_path = path;
            std::string real_path = path;
            sr_xpath_ctx_t scripted_state{};
            sr_xpath_ctx_t real_state{};
            const char *scripted_key =
                sr_xpath_key_value(scripted_path.data(), "b", key, &scripted_state);
            const char *real_key = key_value(real_path.data(), "b", key, &real_state);
            EXPECT_EQ(optional_text(scripted_key), optional_text(real_key)) << path << " " << key;
            EXPECT_EQ(scripted_path, real_path) << path << " " << key;
        }
    }
}

TEST_F(ScriptedSysrepo, ResizesAndClearsValuesAsTheLibraryDoes) {
    auto *resize = real<decltype(sr_realloc_values)>("sr_realloc_values");
    for (auto *function : {resize, sr_realloc_values}) {
        sr_val_t *values = nullptr;
        ASSERT_EQ(function(0, 2, &values), SR_ERR_OK);
        values[0].type = values[1].type = SR_STRING_T;
        ASSERT_EQ(function(1, 4, &values), SR_ERR_OK);
        EXPECT_EQ(values[0].type, SR_STRING_T);
        EXPECT_EQ(values[1].type, SR_UNKNOWN_T) << "behind the old count";
        EXPECT_EQ(values[3].type, SR_UNKNOWN_T);
        std::free(values);
    }
}

} // namespace
