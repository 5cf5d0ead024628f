#pragma once

#include <unistd.h>

/** Owns an open file descriptor, or the negative result of an open that failed, for one scope. */
class descriptor {
public:
    explicit descriptor(int number) : number_(number) {}
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor()
    {
        if (number_ >= 0) {
            close(number_);
        }
    }

    explicit operator bool() const { return number_ >= 0; }
    int get() const { return number_; }

private:
    int number_;
};
