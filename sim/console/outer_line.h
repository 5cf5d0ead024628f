#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <termios.h>

namespace sim {

/** The end of the console's line that the PC is on. None of its operations waits. */
class outer_line {
public:
    virtual ~outer_line() = default;

    /** The descriptors to wait for. */
    virtual int reading() const = 0;
    virtual int writing() const = 0;
    /** One that tells that somebody comes or goes; -1: the PC is always there. */
    virtual int watching() const { return -1; }
    /** Looks who came and went. */
    virtual void look() {}
    /** Whether anybody is there: what is sent to nobody is lost, as on a serial line. */
    virtual bool is_heard() const { return true; }

    /** What the PC has sent since; nothing once its side has ended. */
    std::optional<std::string> read() const;
    /** Sends: how many of these bytes the line took; nothing once the PC's side has ended. */
    std::optional<std::size_t> write(std::string_view bytes) const;
};

/** Standard input and output; where they are terminals, these carry bytes as they are. */
class standard_line : public outer_line {
public:
    standard_line();
    ~standard_line() override;
    standard_line(const standard_line &) = delete;
    standard_line &operator=(const standard_line &) = delete;

    int reading() const override;
    int writing() const override;

private:
    std::optional<termios> settings_; // of a terminal, to be restored
    int input_flags_;
    int output_flags_;
};

/** A pseudo-terminal whose other side is opened as if it were a serial port. */
class port_line : public outer_line {
public:
    /** With a link, that is a symbolic link to the port. Throws std::system_error. */
    explicit port_line(std::filesystem::path link = {});
    ~port_line() override;
    port_line(const port_line &) = delete;
    port_line &operator=(const port_line &) = delete;

    /** The path of the port. */
    const std::string &port() const { return port_; }

    int reading() const override { return here_; }
    int writing() const override { return here_; }
    int watching() const override { return watch_; }
    void look() override;
    bool is_heard() const override { return users_ > 0; }

private:
    std::filesystem::path link_;
    std::string port_;
    int here_ = -1;
    int there_ = -1; // held open: the port stays when its user goes
    int watch_ = -1;
    int users_ = 0;
};

} // namespace sim
