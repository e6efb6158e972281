# Shell library of ./run: who gets in. TLS with a certificate of its own, a user with a password, addresses beside this
# machine's own. Needs setup.sh, and of ./run: options, $runtime, $parts_user, fill.

tls=no
user_name=
listen=
certificate= # file of the certificate, with TLS

# user_name <option> <value>: the value, when a file of passwords can hold it.
user_name() {
  [[ $2 =~ ^[A-Za-z0-9][A-Za-z0-9._@-]{0,63}$ ]] || fail "$1 takes a user's name of letters, digits and ._@-, not \"$2\""
  printf '%s' "$2"
}

# address <option> <value>: the value, when it looks like an IP address.
address() {
  local byte='(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])'
  [[ $2 =~ ^$byte\.$byte\.$byte\.$byte$ || ($2 == *:* && $2 =~ ^[0-9A-Fa-f:.]{2,45}$) ]] ||
    fail "$1 takes an IP address of this machine, or 0.0.0.0 for all of them, not \"$2\""
  printf '%s' "$2"
}

# require_protection: nothing but this machine is served without TLS and a password.
require_protection() {
  [[ $listen == '' ]] || [[ $tls == yes && $user_name != '' ]] ||
    fail "--listen opens Live View to other machines; it needs --tls and --user NAME"
  [[ ${LIVE_VIEW_PASSWORD-} == '' ]] || ((${#LIVE_VIEW_PASSWORD} <= 72)) ||
    fail 'LIVE_VIEW_PASSWORD has more than 72 characters'
}

# addresses: what is listened on beside 127.0.0.1, one a line.
addresses() {
  case $listen in
    '' | 127.0.0.1) ;;
    0.0.0.0 | ::) hostname -I | tr ' ' '\n' | sed '/^$/d' ;;
    *) printf '%s\n' "$listen" ;;
  esac
}

# in_url <address>: as it stands in a URL.
in_url() { if [[ $1 == *:* ]]; then printf '[%s]' "$1"; else printf '%s' "$1"; fi; }

# make_certificate: for all names and addresses of the server; a fresh one for each run, which no browser knows.
make_certificate() {
  local subjects="DNS:localhost,IP:127.0.0.1,IP:::1" one
  for one in "${names[@]}"; do
    if [[ $one =~ ^[0-9.]+$ || $one == *:* ]]; then subjects+=",IP:$one"; else subjects+=",DNS:$one"; fi
  done
  certificate=$runtime/certificate.pem
  (umask 077 && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 365 \
    -subj "/CN=Live View on $(uname -n | cut -c1-40)" -addext "subjectAltName=$subjects" \
    -addext 'basicConstraints=critical,CA:FALSE' -addext 'extendedKeyUsage=serverAuth' \
    -keyout "$runtime/certificate.key" -out "$certificate" 2>"$runtime/openssl.log") ||
    fail "openssl could not make a certificate: $(tail -n 1 "$runtime/openssl.log")"
  chmod 644 "$certificate"
}

# make_user: the file of passwords. One that is not given is made up.
make_user() {
  local users=$runtime/users
  user_password=${LIVE_VIEW_PASSWORD-}
  unset LIVE_VIEW_PASSWORD # no program that is started from here needs it
  password_is_ours=no
  if [[ $user_password == '' ]]; then
    password_is_ours=yes
    user_password=$(od -An -N 12 -tx1 /dev/urandom | tr -d ' \n') && ((${#user_password} == 24)) ||
      fail 'no random bytes to be had for the password'
  fi
  install -m 600 ${parts_user:+-o "$parts_user"} /dev/null "$users"
  printf '%s' "$user_password" | htpasswd -niB "$user_name" 2>/dev/null | sed '/^$/d' >"$users" &&
    [[ -s $users ]] || fail 'htpasswd could not make the file of passwords'
}

# configure_access: the web server's files about it, in $runtime/access; what is not asked for is not there.
configure_access() {
  local templates=$top/host/apache/access modules=/usr/lib/apache2/modules one
  mkdir "$runtime/access"
  mapfile -t listened < <(addresses)
  names+=("${listened[@]}")
  if [[ $tls == yes ]]; then
    make_certificate
    fill "$templates/tls.conf.in" "$runtime/access/tls.conf" MODULE_DIR "$modules" \
      CERTIFICATE "$certificate" KEY "$runtime/certificate.key"
  fi
  if [[ $user_name != '' ]]; then
    make_user
    fill "$templates/users.conf.in" "$runtime/access/users.conf" MODULE_DIR "$modules" USERS "$runtime/users"
  fi
  for one in "${!listened[@]}"; do
    fill "$templates/listen.conf.in" "$runtime/access/listen-$one.conf" ADDRESS "$(in_url "${listened[one]}")" PORT "$port"
  done
}

# tell_access <scheme>: what browsers need to get in.
tell_access() {
  local one
  for one in "${listened[@]}"; do say "Also at: $1://$(in_url "$one"):$port/"; done
  if [[ $tls == yes ]]; then
    say "Certificate: $(openssl x509 -in "$certificate" -noout -fingerprint -sha256 | sed 's/^[^=]*=/SHA-256 /')"
  fi
  if [[ $user_name == '' ]]; then return; fi
  if [[ $password_is_ours == no ]]; then
    say "User: $user_name, with the password in LIVE_VIEW_PASSWORD"
  else
    say "User: $user_name, password: $user_password"
  fi
}
