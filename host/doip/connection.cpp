#include "host/doip/connection.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

namespace zevo::doip {

bool Reply_gate::post(std::function<void(Connection&)> work) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!open_) return false;
    asio::post(io_, [connection = connection_, work = std::move(work)] {
        std::shared_ptr<Connection> live = connection.lock();
        if (live && live->open()) work(*live);
    });
    return true;
}

void Reply_gate::shut() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = false;
}

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
    gate_ = std::make_shared<Reply_gate>(static_cast<asio::io_context&>(socket_.get_executor().context()),
                                         weak_from_this());
    read();
}

void Connection::read() {
    socket_.async_read_some(asio::buffer(read_buffer_), [self = shared_from_this()](const asio::error_code& error,
                                                                                     std::size_t size) {
        if (self->closing_) return;
        if (error) {
            self->close(self->reassembler_.partial() ? "the tester closed in the middle of a message"
                                                      : "closed by the tester");
            return;
        }
        self->reassembler_.append(self->read_buffer_.data(), size);
        while (!self->closing_) {
            Stream_reassembler::Event event = self->reassembler_.next(self->events_.limits_for(*self));
            if (event.kind == Stream_reassembler::Event::Kind::need_more) break;
            if (event.kind == Stream_reassembler::Event::Kind::frame) {
                self->events_.on_frame(*self, std::move(event.frame));
            } else {
                self->events_.on_rejected(*self, event.header, event.verdict);
            }
        }
        if (!self->closing_) self->read();
    });
}

void Connection::send(Bytes frame) {
    if (closing_) return;  // nothing goes out after the last frame before a close
    queued_bytes_ += frame.size();
    queue_.push_back(std::move(frame));
    if (queued_bytes_ > max_send_queue_) {
        asio::error_code ignored;
        socket_.set_option(asio::socket_base::linger(true, 0), ignored);  // reset: drop what is unsent
        close("the tester does not read what it is sent");
        return;
    }
    if (!writing_) write();
}

void Connection::write() {
    writing_ = true;
    asio::async_write(socket_, asio::buffer(queue_.front()), [self = shared_from_this()](const asio::error_code& error,
                                                                                          std::size_t) {
        self->writing_ = false;
        if (!self->socket_.is_open()) return;
        if (error) {
            self->close("the connection broke while sending");
            return;
        }
        self->queued_bytes_ -= self->queue_.front().size();
        self->queue_.pop_front();
        if (!self->queue_.empty()) {
            self->write();
        } else if (self->closing_) {
            self->timer_->cancel();
            asio::error_code ignored;
            self->socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
            self->socket_.close(ignored);
        }
    });
}

void Connection::stop_serving() {
    closing_ = true;
    timer_->cancel();
    if (gate_) gate_->shut();
}

void Connection::close_after_send(const std::string& reason) {
    if (closing_) return;
    stop_serving();
    if (!writing_) {
        asio::error_code ignored;
        socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
        socket_.close(ignored);
    } else {
        timer_->expire_at(clock_.now() + close_linger, [weak = weak_from_this()] {
            if (std::shared_ptr<Connection> self = weak.lock()) self->reset_on_close();
        });
    }
    events_.on_closed(*this, reason);  // last: whoever learns of the close finds it under way
}

void Connection::reset_on_close() {
    // A reset instead of a FIN: what is still unsent to a tester that does not read is dropped.
    asio::error_code ignored;
    socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    socket_.close(ignored);  // a write under way completes as aborted
}

void Connection::close(const std::string& reason) {
    bool first = !closing_;
    stop_serving();
    asio::error_code ignored;
    socket_.close(ignored);  // a write under way completes as aborted and frees the queue with us
    if (first) events_.on_closed(*this, reason);
}

}  // namespace zevo::doip
