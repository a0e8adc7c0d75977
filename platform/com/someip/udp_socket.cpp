#include "com/someip/udp_socket.h"

#include <cerrno>
#include <utility>

#include <asio/post.hpp>
#include <asio/socket_base.hpp>

namespace ruv::com::someip_binding {

Udp_socket::Udp_socket(asio::io_context& context, const asio::ip::udp::endpoint& local) : socket_(context) {
    socket_.open(local.protocol());
    socket_.set_option(asio::socket_base::reuse_address(true));
    socket_.bind(local);
    local_ = socket_.local_endpoint();
    direct_ = std::make_shared<const Send_descriptor>(socket_.native_handle());
}

void Udp_socket::start(Receive on_receive) {
    on_receive_ = std::move(on_receive);
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->receive(); });
}

void Udp_socket::receive() {
    socket_.async_receive_from(asio::buffer(buffer_), sender_,
                               [self = shared_from_this()](const std::error_code& error, std::size_t size) {
                                   if (error == asio::error::operation_aborted || !self->socket_.is_open()) {
                                       return;
                                   }
                                   if (!error) {
                                       self->on_receive_(Byte_view{self->buffer_.data(), size}, self->sender_);
                                   }
                                   self->receive();  // an ICMP error on one send must not end the loop
                               });
}

void Udp_socket::send(std::shared_ptr<const Bytes> datagram, const asio::ip::udp::endpoint& to, Sent done) {
    std::shared_ptr<const Send_descriptor> direct;
    {
        std::lock_guard<std::mutex> lock(direct_mutex_);
        direct = direct_;
    }
    if (direct != nullptr) {
        const ssize_t sent = direct->send_to(datagram->data(), datagram->size(), to.data(), static_cast<socklen_t>(to.size()));
        if (sent >= 0) {
            return;  // a datagram leaves whole or not at all
        }
        const int error = errno;
        if (!would_block(error)) {
            if (done) {
                asio::post(socket_.get_executor(), [done = std::move(done), error] {
                    done(std::error_code(error, std::system_category()));
                });
            }
            return;
        }
    }
    // The send buffer is full (or the socket closed): the I/O thread sends once it can, or fails.
    send_from_io_thread(std::move(datagram), to, std::move(done));
}

void Udp_socket::send_from_io_thread(std::shared_ptr<const Bytes> datagram, const asio::ip::udp::endpoint& to,
                                     Sent done) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), datagram = std::move(datagram), to,
                                        done = std::move(done)]() mutable {
        const asio::const_buffer bytes = asio::buffer(*datagram);
        self->socket_.async_send_to(bytes, to,
                                    [datagram = std::move(datagram), done = std::move(done)](
                                        const std::error_code& error, std::size_t) {
                                        if (done && error) {
                                            done(error);
                                        }
                                    });
    });
}

void Udp_socket::close() {
    {
        std::lock_guard<std::mutex> lock(direct_mutex_);
        direct_.reset();  // the descriptor closes when the last send through it has returned
    }
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->socket_.close(ignored);
    });
}

}  // namespace ruv::com::someip_binding
