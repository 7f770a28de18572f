#!/usr/bin/env bash
# The Debian package: built with CPack from the Release build, installed on
# this machine with apt-get (which pulls in its dependencies), and the main
# job run from the installed paths in a scratch folder, away from the source
# tree and the build. The package is removed again at the end.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh
ensure_packages dpkg-dev help2man

cmake --workflow --preset default
rm -rf build/default/package
(cd build/default && cpack -B package)
deb=$(ls "$PWD"/build/default/package/vireo-awbsim_*.deb)

remove() { vireo_apt remove -y -q vireo-awbsim >/dev/null || true; rm -rf "$scratch"; }
scratch=$(mktemp -d)
trap remove EXIT
DEBIAN_FRONTEND=noninteractive vireo_apt install -y -q "$deb"

cd "$scratch"
for tool in vireo-check vireo-datagen vireo-score vireo-tune vireo-import vireo-run vireo-compare vireo-report vireo-main-job; do
    [ "$(command -v "$tool")" = "/usr/bin/$tool" ] || { echo "$tool is not installed" >&2; exit 1; }
    "$tool" --version
    [ -f "/usr/share/man/man1/$tool.1" ] || { echo "$tool has no man page" >&2; exit 1; }
done
for f in /usr/bin/vireo-awbsim /usr/share/man/man1/vireo-awbsim.1 /usr/include/vireo/ReferenceAwbApi.h \
         /usr/share/vireo-awbsim/TintraBinaryParameterSet.bin; do
    [ -f "$f" ] || { echo "the package has no $f" >&2; exit 1; }
done
vireo-main-job --samples 4 | tee main-job.log
grep -q "using the installed tools in /usr/bin" main-job.log
grep -q "^awbDLL=/usr/lib/libvireo_awb.so$" out/*/main-job.cfg
grep -q "^overall " main-job.log
