#include "floor/server/export_stream.h"

#include <boost/asio/steady_timer.hpp>

#include "floor/requests/answers.h"
#include "floor/requests/rows.h"

namespace shopfloor {

namespace {

class export_stream final : public long_response {
public:
    export_stream(service &of, boost::beast::tcp_stream stream, guest who, export_wanted wanted)
        : long_response(of, std::move(stream), std::move(who)), wanted_(std::move(wanted)),
          patience_(this->stream().get_executor())
    {
        wanted_.filters.limit = of.limits.page_rows;
    }

    void begin()
    {
        watch();
        ask();
    }

private:
    void ask()
    {
        const auto self = std::static_pointer_cast<export_stream>(shared_from_this());
        patience_.expires_after(shared().limits.answer);
        patience_.async_wait([self = std::weak_ptr(self)](const boost::system::error_code &failed) {
            const auto living = self.lock();
            if (!failed && living) {
                living->cut();
            }
        });
        const reply to = [mail = shared().mail, self = std::weak_ptr(self)](answer given) {
            mail->post([self, given = std::move(given)] {
                const auto living = self.lock();
                if (living && !living->is_cut()) {
                    living->on_page(given);
                }
            });
        };
        auto &floor = shared().floor;
        wanted_.kind == row_kind::units ? floor.units(wanted_.filters, to)
                                        : floor.attempts(wanted_.filters, to);
    }

    void on_page(const answer &page)
    {
        patience_.cancel();
        if (page.refused) {
            // The rows before it would pass for all that there are.
            begun_ ? cut() : refuse(*page.refused);
            return;
        }
        if (begun_) {
            send(page.content);
            return;
        }
        begun_ = true;
        write_head(head(), [this, content = page.content] { send(content); });
    }

    void refuse(const refusal &why)
    {
        const auto told = refusal_response(why);
        write_head(told, [this, body = told.body] { write_chunk(body, [this] { write_end(); }); });
    }

    void send(const json &page)
    {
        std::string text;
        if (!std::exchange(has_head_, true)) {
            text = head_of_rows(wanted_.kind, wanted_.form);
        }
        for (const auto &row : page.at("rows")) {
            text += row_text(wanted_.kind, wanted_.form, row);
        }
        const auto &after = page.at("after");
        const bool more = !after.is_null();
        wanted_.filters.after = more ? after.get<std::int64_t>() : 0;
        write_chunk(std::move(text), [this, more] { more ? ask() : write_end(); });
    }

    response head() const
    {
        const bool csv = wanted_.form == row_form::csv;
        const std::string name = wanted_.kind == row_kind::units ? "units" : "attempts";
        return {.type = csv ? "text/csv; charset=utf-8" : "application/x-ndjson",
                .headers = {{"Content-Disposition",
                             "attachment; filename=\"" + name + (csv ? ".csv" : ".jsonl") + "\""}}};
    }

    export_wanted wanted_;
    boost::asio::steady_timer patience_;
    bool begun_ = false;
    bool has_head_ = false;
};

} // namespace

void send_export(service &of, boost::beast::tcp_stream stream, guest who, export_wanted wanted)
{
    std::make_shared<export_stream>(of, std::move(stream), std::move(who), std::move(wanted))
        ->begin();
}

} // namespace shopfloor
