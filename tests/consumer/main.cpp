// The smallest host: sets the driver up and asks for a request.
#include <plc_driver.h>

int main() {
    ComInfo info{};
    SetComInfo(&info);
    return ComCommunication() == nullptr && info.scanDone == 1 ? 0 : 1;
}
