#include "host/doip/connection.h"

#include <asio/post.hpp>

namespace zevo::doip {

Connection::Connection(asio::ip::tcp::socket socket, std::uint64_t id, Connection_events& events, Clock& clock,
                       std::size_t max_send_queue)
    : socket_(std::move(socket)),
      id_(id),
      events_(events),
      clock_(clock),
      timer_(clock.make_timer(static_cast<asio::io_context&>(socket_.get_executor().context()))),
      max_send_queue_(max_send_queue) {
    asio::error_code error;
    auto endpoint = socket_.remote_endpoint(error);
    peer_ = error ? std::string("?") : endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

void Connection::start() {
    auto& io = static_cast<asio::io_context&>(socket_.get_executor().context());
    // The outbox tells from any thread what only the I/O thread may do; a connection gone by
    // then needs nothing.
    outbox_ = std::make_shared<Outbox>(socket_.native_handle(), max_send_queue_, clock_,
                                       [&io, weak = weak_from_this()](Outbox::Need need) {
                                           asio::post(io, [weak, need] {
                                               if (std::shared_ptr<Connection> self = weak.lock()) {
                                                   self->on_outbox(need);
                                               }
                                           });
                                       });
    read();
}

void Connection::read() {
    socket_.async_read_some(asio::buffer(read_buffer_), [self = shared_from_this()](const asio::error_code& error,
                                                                                     std::size_t size) {
        if (self->state_ == State::closed) return;
        if (self->state_ == State::lingering) {
            // What a closing tester still sends is dropped. Its end of the stream ends the
            // linger once it has taken everything; otherwise the linger's timer decides.
            if (!error) {
                self->read();
            } else if (error != asio::error::eof || self->outbox_->delivered()) {
                self->close_socket(false);
            }
            return;
        }
        if (error) {
            self->close(self->reassembler_.partial() ? "the tester closed in the middle of a message"
                                                      : "closed by the tester");
            return;
        }
        self->reassembler_.append(self->read_buffer_.data(), size);
        while (self->state_ == State::open) {
            Stream_reassembler::Event event = self->reassembler_.next(self->events_.limits_for(*self));
            if (event.kind == Stream_reassembler::Event::Kind::need_more) break;
            if (event.kind == Stream_reassembler::Event::Kind::frame) {
                self->events_.on_frame(*self, std::move(event.frame));
            } else {
                self->events_.on_rejected(*self, event.header, event.verdict);
            }
        }
        if (self->state_ != State::closed) self->read();
    });
}

void Connection::send(Bytes frame) {
    if (state_ != State::open) return;  // nothing goes out after the last frame before a close
    outbox_->send(std::move(frame));
}

void Connection::on_outbox(Outbox::Need need) {
    if (state_ == State::closed) return;
    switch (need) {
        case Outbox::Need::wait_writable:
            wait_writable();
            break;
        case Outbox::Need::reset_slow_reader: {
            const bool report = state_ == State::open;
            close_socket(true);  // a reset: what the tester did not take is dropped
            if (report) events_.on_closed(*this, "the tester does not read what it is sent");
            break;
        }
        case Outbox::Need::close_broken:
            close("the connection broke while sending");
            break;
    }
}

void Connection::wait_writable() {
    socket_.async_wait(asio::socket_base::wait_write, [self = shared_from_this()](const asio::error_code& error) {
        if (self->state_ == State::closed) return;
        const Outbox::Flushed flushed = error ? Outbox::Flushed::broken : self->outbox_->flush();
        switch (flushed) {
            case Outbox::Flushed::all:
                self->sent_all();
                break;
            case Outbox::Flushed::waiting:
                self->wait_writable();
                break;
            case Outbox::Flushed::broken:
                self->close("the connection broke while sending");
                break;
        }
    });
}

void Connection::sent_all() {
    if (state_ != State::lingering) return;
    // The FIN goes out behind what the kernel still holds for the tester.
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Connection::close_after_send(const std::string& reason) {
    if (state_ != State::open) return;
    state_ = State::lingering;
    outbox_->stop_accepting();
    timer_->expire_at(clock_.now() + close_linger, [weak = weak_from_this()] {
        if (std::shared_ptr<Connection> self = weak.lock()) self->end_linger();
    });
    if (outbox_->empty()) sent_all();
    events_.on_closed(*this, reason);  // last: whoever learns of the close finds it under way
}

void Connection::end_linger() {
    if (state_ != State::lingering) return;
    // A reset instead of a plain close when the tester has not taken everything: a socket
    // closed with unread data would stay with the kernel, which keeps offering it.
    close_socket(!outbox_->delivered());
}

void Connection::close_socket(bool reset) {
    state_ = State::closed;
    timer_->cancel();
    outbox_->release();  // before the descriptor can be reused
    asio::error_code ignored;
    if (reset) socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    socket_.close(ignored);  // a read or wait under way completes as aborted
}

void Connection::close(const std::string& reason) {
    const bool first = state_ == State::open;
    if (state_ == State::closed) return;
    // A lingering connection whose tester has not taken everything is reset, as at the linger's end.
    close_socket(state_ == State::lingering && !outbox_->delivered());
    if (first) events_.on_closed(*this, reason);
}

}  // namespace zevo::doip
