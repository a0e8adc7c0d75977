#include "com/someip/udp_socket.h"

#include <utility>

#include <asio/post.hpp>
#include <asio/socket_base.hpp>

namespace ruv::com::someip_binding {

Udp_socket::Udp_socket(asio::io_context& context, const asio::ip::udp::endpoint& local) : socket_(context) {
    socket_.open(local.protocol());
    socket_.set_option(asio::socket_base::reuse_address(true));
    socket_.bind(local);
    local_ = socket_.local_endpoint();
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
    asio::post(socket_.get_executor(), [self = shared_from_this(), datagram = std::move(datagram), to,
                                        done = std::move(done)]() mutable {
        const asio::const_buffer bytes = asio::buffer(*datagram);
        self->socket_.async_send_to(bytes, to,
                                    [datagram = std::move(datagram), done = std::move(done)](
                                        const std::error_code& error, std::size_t) {
                                        if (done) {
                                            done(error);
                                        }
                                    });
    });
}

void Udp_socket::close() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->socket_.close(ignored);
    });
}

}  // namespace ruv::com::someip_binding
