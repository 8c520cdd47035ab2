#!/usr/bin/env bash
# Writes the manual page of tavplayer from the built program's own --help, so
# that every option and verb in the program is in the page.
# Usage: make-manpage.sh PROGRAM LANG OUT.gz   (LANG: C.UTF-8 or zh_CN.UTF-8)
set -euo pipefail
program=$1 lang=$2 out=$3

help=$(env -u LANGUAGE -u LC_ALL -u LC_MESSAGES -u DISPLAY -u WAYLAND_DISPLAY LANG="$lang" "$program" --help)
version=$("$program" --version)
if [[ $lang == zh* ]]; then
  name="tavplayer \\- Tavrel多媒体定时播放系统：按时播放多媒体任务的广播站"
  sections=(描述 文件 另见)
  files="数据文件夹：~/.local/share/tavplayer（\$XDG_DATA_HOME/tavplayer），或 --data-dir 给出的文件夹。"
  unit="无人值守时在后台运行：systemctl --user enable --now tavplayer"
else
  name="tavplayer \\- Tavrel多媒体定时播放系统, a timed broadcast station"
  sections=(DESCRIPTION FILES "SEE ALSO")
  files="The data folder: ~/.local/share/tavplayer (\$XDG_DATA_HOME/tavplayer), or the folder given with --data-dir."
  unit="Headless station in the background: systemctl --user enable --now tavplayer"
fi

# Plain text for troff: backslashes escaped, dashes as minus signs (so that
# options copied from the page work), control characters at the start of a
# line neutralised.
escape() { sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\\([.']\\)/\\\\\\&\\1/"; }

{
  echo ".TH TAVPLAYER 1 \"\" \"$version\" \"User Commands\""
  echo ".nh"
  echo ".SH NAME"
  echo "$name"
  echo ".SH ${sections[0]}"
  echo ".nf"
  escape <<<"$help"
  echo ".fi"
  echo ".SH ${sections[1]}"
  escape <<<"$files"
  echo ".PP"
  echo "/usr/lib/systemd/user/tavplayer.service"
  echo ".br"
  escape <<<"$unit"
  echo ".SH \"${sections[2]}\""
  echo "systemctl(1), loginctl(1), mpv(1)"
} | gzip -9n >"$out"
