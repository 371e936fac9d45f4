// The one place where Asio's own code is compiled; every other file sees declarations only.
#include <boost/asio/impl/src.hpp>
