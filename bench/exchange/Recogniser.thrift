// The exchange as a service of Thrift.
namespace cpp exchange.rpc

service Recogniser {
    binary Recognise(1: binary audio)
}
