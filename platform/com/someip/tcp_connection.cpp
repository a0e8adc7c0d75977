#include "com/someip/tcp_connection.h"

#include <cerrno>
#include <utility>

#include <asio/connect.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>

namespace ruv::com::someip_binding {

Tcp_connection::Tcp_connection(asio::ip::tcp::socket socket, Binding_log& log) noexcept
    : socket_(std::move(socket)), log_(log) {}

void Tcp_connection::connect(const asio::ip::tcp::endpoint& local, const asio::ip::tcp::endpoint& remote,
                             On_message on_message, On_closed on_closed) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), local, remote, on_message = std::move(on_message),
                                        on_closed = std::move(on_closed)]() mutable {
        self->on_message_ = std::move(on_message);
        self->on_closed_ = std::move(on_closed);
        self->remote_ = remote;
        std::error_code error;
        self->socket_.open(remote.protocol(), error);
        if (!error) {
            self->socket_.bind(local, error);
        }
        if (error) {
            self->end(error);
            return;
        }
        self->socket_.async_connect(remote, [self](const std::error_code& connect_error) {
            if (self->closed_) {
                return;
            }
            if (connect_error) {
                self->end(connect_error);
                return;
            }
            self->begin();
        });
    });
}

void Tcp_connection::start(On_message on_message, On_closed on_closed) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), on_message = std::move(on_message),
                                        on_closed = std::move(on_closed)]() mutable {
        self->on_message_ = std::move(on_message);
        self->on_closed_ = std::move(on_closed);
        std::error_code ignored;
        self->remote_ = self->socket_.remote_endpoint(ignored);
        self->begin();
    });
}

void Tcp_connection::begin() {
    connected_ = true;
    std::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    std::shared_ptr<const Send_descriptor> direct;
    try {
        direct = std::make_shared<const Send_descriptor>(socket_.native_handle());
    } catch (const std::system_error& error) {
        end(error.code());
        return;
    }
    read();
    bool write_waiting = false;
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        direct_ = std::move(direct);
        write_waiting = !queue_.empty() && !writer_busy_;
        writer_busy_ = writer_busy_ || write_waiting;
    }
    if (write_waiting) {
        write();  // what was queued while connecting
    }
}

void Tcp_connection::read() {
    socket_.async_read_some(asio::buffer(buffer_), [self = shared_from_this()](const std::error_code& error,
                                                                               std::size_t size) {
        if (self->closed_) {
            return;
        }
        if (error) {
            self->end(error);
            return;
        }
        Walk_result result;
        const bool whole = self->stream_.append(
            Byte_view{self->buffer_.data(), size},
            [&self](const Message_view& message) { self->on_message_(message, *self); }, result);
        if (self->closed_) {
            return;  // a message handler closed it
        }
        if (!whole) {
            self->log_.warn(Anomaly::stream_broken, "a length field out of range on the TCP stream from " +
                                                        self->remote_.address().to_string() + ": closed");
            self->end(std::make_error_code(std::errc::bad_message));
            return;
        }
        self->read();
    });
}

void Tcp_connection::send(std::shared_ptr<const Bytes> message) {
    std::shared_ptr<const Send_descriptor> direct;
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        if (write_closed_) {
            return;
        }
        if (direct_ == nullptr || writer_busy_) {
            queue_.push_back(std::move(message));  // the connection or the writer of the moment takes it
            return;
        }
        writer_busy_ = true;
        direct = direct_;
    }
    const ssize_t sent = direct->send(message->data(), message->size());
    const int error = sent < 0 ? errno : 0;
    if (sent >= 0 && static_cast<std::size_t>(sent) == message->size()) {
        release_writer();
        return;
    }
    if (sent < 0 && !would_block(error)) {
        asio::post(socket_.get_executor(), [self = shared_from_this(), error] {
            self->end(std::error_code(error, std::system_category()));
        });
        return;
    }
    // The send buffer took part of it or nothing: the rest goes first, written by the I/O thread.
    const std::size_t done = sent > 0 ? static_cast<std::size_t>(sent) : 0;
    auto rest = std::make_shared<const Bytes>(message->begin() + static_cast<std::ptrdiff_t>(done), message->end());
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        queue_.push_front(std::move(rest));
    }
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->write(); });
}

void Tcp_connection::release_writer() {
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        if (queue_.empty() || write_closed_) {
            writer_busy_ = false;
            return;
        }
    }
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->write(); });
}

void Tcp_connection::write() {
    std::shared_ptr<const Bytes> next;
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        if (write_closed_ || queue_.empty()) {
            writer_busy_ = false;
            return;
        }
        next = queue_.front();
    }
    asio::async_write(socket_, asio::buffer(*next),
                      [self = shared_from_this(), next](const std::error_code& error, std::size_t) {
                          if (self->closed_) {
                              return;
                          }
                          if (error) {
                              self->end(error);
                              return;
                          }
                          {
                              std::lock_guard<std::mutex> lock(self->write_mutex_);
                              if (!self->queue_.empty()) self->queue_.pop_front();
                          }
                          self->write();
                      });
}

void Tcp_connection::close() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->end({}); });
}

void Tcp_connection::end(const std::error_code& error) {
    if (closed_) {
        return;
    }
    closed_ = true;
    std::deque<std::shared_ptr<const Bytes>> dropped;
    {
        std::lock_guard<std::mutex> lock(write_mutex_);
        write_closed_ = true;
        direct_.reset();  // the descriptor closes when a send through it now has returned
        dropped.swap(queue_);
    }
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    On_closed on_closed = std::move(on_closed_);
    on_closed_ = nullptr;
    if (on_closed) {
        on_closed(*this, error);
    }
}

}  // namespace ruv::com::someip_binding
