# For the tests of clients that connect two machines, which source it after tls.sh: two networks with a cable between
# them, for which the test is root, in namespaces of its own if it is not already.
require_own_networks
if [ "$(id -u)" -ne 0 ]; then
    rm -rf "$TAVRIK_HOME"
    exec unshare --map-root-user --mount --net "$here/$(basename "$0")" "$@"
fi

# The namespaces last as long as these programs.
unshare --net sleep 600 &
server_network=$!
unshare --net sleep 600 &
client_network=$!
started+=("$server_network" "$client_network")

# To stand before a command.
on_server=(nsenter "--net=/proc/$server_network/ns/net")
on_client=(nsenter "--net=/proc/$client_network/ns/net")

# A program has its namespace a moment after it has started.
for network in "$server_network" "$client_network"; do
    for _ in $(seq 600); do
        [ "$(readlink "/proc/$network/ns/net")" = "$(readlink /proc/$$/ns/net)" ] || break
        sleep 0.1
    done
done
ip link add name cable netns "$server_network" type veth peer name cable netns "$client_network"
"${on_server[@]}" ip address add 192.0.2.1/24 dev cable
"${on_client[@]}" ip address add 192.0.2.2/24 dev cable
for network in lo cable; do
    "${on_server[@]}" ip link set "$network" up
    "${on_client[@]}" ip link set "$network" up
done
