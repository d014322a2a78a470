// What tests of files and messages share: a folder of their own that goes when they
// end, whole files in and out of memory, and an ear for what the host reports.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <mutex>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>
#include <zan/host.h>

class scratch_folder {
  public:
    scratch_folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vokra-test-XXXXXX").string();
        // /tmp may be a link, and the host gives names without following links
        name_ = std::filesystem::canonical(mkdtemp(pattern.data())).string();
    }
    ~scratch_folder() { std::filesystem::remove_all(name_); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    const std::string &name() const { return name_; }
    std::string operator/(const std::string &file) const { return name_ + "/" + file; }
    // Makes a file with these bytes; its full name.
    std::string make(const std::string &file, const std::string &bytes) const
    {
        const std::string full = *this / file;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full, std::ios::binary) << bytes;
        return full;
    }
    long count() const // of files and folders in it
    {
        return std::distance(std::filesystem::directory_iterator(name_), {});
    }

  private:
    std::string name_;
};

// A file in memory under a full name, for tests that need thousands: a disk takes
// milliseconds for each when it is busy.
class memory_file {
  public:
    memory_file() : file_(memfd_create("test", MFD_CLOEXEC)), name_("/proc/self/fd/" + std::to_string(file_)) {}
    ~memory_file() { close(file_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;
    // Puts these bytes in the place of what was there; the name.
    const std::string &hold(const std::string &bytes)
    {
        EXPECT_EQ(ftruncate(file_, 0), 0);
        EXPECT_EQ(pwrite(file_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return name_;
    }

  private:
    int file_;
    std::string name_;
};

inline std::string bytes_of(const std::string &file)
{
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    return {std::istreambuf_iterator<char>(in), {}};
}

// Takes every report while it lives.
class report_catcher {
  public:
    report_catcher()
    {
        zan_set_reporter(
            [](void *data, long kind, void *, const char *text) {
                auto *self = static_cast<report_catcher *>(data);
                std::lock_guard hold(self->lock_);
                self->kinds_.push_back(kind);
                self->texts_.push_back(text);
            },
            this);
    }
    ~report_catcher() { zan_set_reporter(nullptr, nullptr); }
    report_catcher(const report_catcher &) = delete;
    report_catcher &operator=(const report_catcher &) = delete;

    // The texts since the last call, all kinds or one.
    std::vector<std::string> take(long kind = -1)
    {
        std::lock_guard hold(lock_);
        std::vector<std::string> taken;
        for (size_t i = 0; i < texts_.size(); ++i)
            if (kind < 0 || kinds_[i] == kind)
                taken.push_back(texts_[i]);
        texts_.clear();
        kinds_.clear();
        return taken;
    }
    // The one error since the last call; another number of errors fails the test.
    std::string one_error()
    {
        const std::vector<std::string> errors = take(zan_report_error);
        EXPECT_EQ(errors.size(), 1u) << (errors.empty() ? "" : errors.back());
        return errors.empty() ? "" : errors[0];
    }

  private:
    std::mutex lock_;
    std::vector<long> kinds_;
    std::vector<std::string> texts_;
};

// Sets an environment variable (null: takes it away) and puts it back after.
class env_setting {
  public:
    env_setting(const char *name, const char *value) : name_(name)
    {
        const char *old = getenv(name);
        had_ = old != nullptr;
        old_ = old ? old : "";
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~env_setting() { had_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }
    env_setting(const env_setting &) = delete;
    env_setting &operator=(const env_setting &) = delete;

  private:
    const char *name_;
    bool had_;
    std::string old_;
};
