'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');

const { findFaults } = require('../../scripts/lib/mutate/rules');

/** What the rule makes of the body of a function, each as its lines after "=>". */
function faultsOf(rule, ...body) {
  const text = ['void f()', '{', ...body.map((line) => `    ${line}`), '}', ''].join('\n');
  return findFaults(text).filter((fault) => fault.rule === rule).map((fault) => fault.replaced.join(' => '));
}

test('changes numbers in their own base, and truth values', () => {
  assert.deepEqual(faultsOf('constant', 'x = 0xFU;'), ['x = 0xEU;', 'x = 0x10U;']);
  assert.deepEqual(faultsOf('constant', 'x = 0;'), ['x = 1;']);
  assert.deepEqual(faultsOf('constant', 'x = true;'), ['x = false;']);
});

test('changes comparisons, but no brackets of templates', () => {
  assert.deepEqual(faultsOf('comparison', 'g(a < b, std::vector<int>(c));'), ['g(a <= b, std::vector<int>(c));']);
});

test('changes texts, and leaves escapes whole', () => {
  assert.deepEqual(faultsOf('text', 'g(L"ab");'), ['g(L"abx");', 'g(L"b");', 'g(L"a");']);
  assert.deepEqual(faultsOf('text', String.raw`g("a\n");`), [String.raw`g("a\nx");`]);
});

test('drops either operand of a bit-or, also at the end of a line', () => {
  assert.deepEqual(faultsOf('flag', 'x = A | B;'), ['x = B;', 'x = A;']);
  assert.deepEqual(faultsOf('flag', 'x = A | B |', '    C;'), ['x = B |', 'x = A |', 'x = A |']);
});

test('widens and narrows tests of results', () => {
  assert.deepEqual(faultsOf('result', 'if (FAILED(hr) || !x)'), ['if ((hr != S_OK) || !x)']);
  assert.deepEqual(faultsOf('result', 'if (hr != S_OK)'), ['if (FAILED(hr))']);
  assert.deepEqual(faultsOf('result', 'if (hr == S_OK)'), ['if (SUCCEEDED(hr))']);
});

test('negates conditions, but no declarations in them', () => {
  assert.deepEqual(faultsOf('condition', 'if (a == b)', '    g();'), ['if (!(a == b))']);
  assert.deepEqual(faultsOf('condition', 'if (!a)', '    g();'), ['if (a)', 'if (!(!a))']);
  assert.deepEqual(faultsOf('condition', 'if (const auto a = g())', '    h();'), []);
});

test('drops statements and keeps the lines below in their places', () => {
  assert.deepEqual(faultsOf('dropped', 'g(a,', '  b);'), ['{} => ']);
  assert.deepEqual(faultsOf('dropped', 'if (a)', '    return;', 'g();'), ['{}', '{}']);
});

test('drops no declarations, and no return that the compiler asks for', () => {
  const declarations = ['T a;', 'T* b = c();', 'N::T d{1};', 'const T e(f);', 'std::vector<T> g(h);', 'T i = j();'];
  assert.deepEqual(faultsOf('dropped', ...declarations, 'return a;'), []);
  assert.deepEqual(findFaults('class C\n{\n    C(const C&);\n    void g() noexcept;\n    int m_a;\n};\n'), []);
});

test('swaps neighbouring statements of one block', () => {
  assert.deepEqual(faultsOf('swapped', 'a();', 'b();'), ['b(); => a();']);
  assert.deepEqual(faultsOf('swapped', 'if (x)', '    a();', 'b();'), []);
  assert.deepEqual(faultsOf('swapped', 'a();', '', 'b();', 'return;'), []);
});

test('finds statements in lambdas and behind them', () => {
  assert.deepEqual(faultsOf('dropped', 'g([&](int a)', '  {', '      h(a);', '      i();', '  });', 'j();'),
    ['{}', '{}', '{} =>  =>  =>  => ', '{}'].filter((line) => !line.endsWith('=>  =>  => ')));
});

test('leaves comments, directives and static assertions alone', () => {
  const text = ['#include "a"', '#define B 1', '// c = 1;', '/* d = 1; "e" */', 'static_assert(f == 1);', ''].join('\n');
  assert.deepEqual(findFaults(text), []);
});
