#include "com/someip/tcp_connection.h"

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
    read();
    write();  // what was queued while connecting
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
    asio::post(socket_.get_executor(), [self = shared_from_this(), message = std::move(message)]() mutable {
        if (self->closed_) {
            return;
        }
        self->queue_.push_back(std::move(message));
        self->write();
    });
}

void Tcp_connection::write() {
    if (writing_ || !connected_ || closed_ || queue_.empty()) {
        return;
    }
    writing_ = true;
    asio::async_write(socket_, asio::buffer(*queue_.front()),
                      [self = shared_from_this()](const std::error_code& error, std::size_t) {
                          self->writing_ = false;
                          if (self->closed_) {
                              return;
                          }
                          if (error) {
                              self->end(error);
                              return;
                          }
                          self->queue_.pop_front();
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
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    queue_.clear();
    On_closed on_closed = std::move(on_closed_);
    on_closed_ = nullptr;
    if (on_closed) {
        on_closed(*this, error);
    }
}

}  // namespace ruv::com::someip_binding
