# A server of ssh for the tests of clients, which source it: one that a pipe leads to, with what it knows in the current folder.
# `authorized_keys` there says who may sign in.

ssh-keygen -q -t ed25519 -N '' -f host
echo "server $(cat host.pub)" >known_hosts
cat >sshd_config <<END
HostKey $PWD/host
AuthorizedKeysFile $PWD/authorized_keys
UsePAM no
StrictModes no
END
# As root, the server wants an empty folder in a place that only the installation makes.
cat >ssh_server <<END
#!/bin/sh
set -e
if [ "\$(id -u)" -eq 0 ]; then
    mount -t tmpfs none /run
    mkdir /run/sshd
fi
exec /usr/sbin/sshd -i -e -f "$PWD/sshd_config" 2>>"$PWD/sshd.log"
END
chmod +x ssh_server
ssh_server=$PWD/ssh_server
if [ "$(id -u)" -eq 0 ]; then
    require_own_mounts
    ssh_server="unshare --mount $ssh_server"
fi

sign_in() { # [OPTION]...
    timeout 60 ssh -F none -o "ProxyCommand=$ssh_server" -o HostKeyAlias=server -o UserKnownHostsFile=known_hosts \
        -o PreferredAuthentications=publickey "$@" host echo "signed in" 2>ssh.log || { tail -n 20 ssh.log sshd.log; return 1; }
}
