autocmd BufNewFile,BufRead *.schema setfiletype varnix
