; Copies 256 bytes with LDIR, sums the copy into a 16-bit checksum, and finds the
; first 0xA5 in it with CPIR. The test fills the source, then checks the copy, the
; checksum, the search result and the total time, which is fixed by the data.
;   0x1000: source (filled by the test)    0x3000: copy
;   0x4000: checksum word                  0x4002: HL after the search

            org 0
            di                      ; 1
            ld sp,0x8000            ; 3
            ld hl,0x1000            ; 3
            ld de,0x3000            ; 3
            ld bc,256               ; 3
            ldir                    ; 6 per repeating pass, 5 for the last
            ld hl,0x3000            ; 3
            ld bc,256               ; 3
            ld de,0                 ; 3
sum:        ld a,e                  ; 1
            add a,(hl)              ; 2
            ld e,a                  ; 1
            ld a,d                  ; 1
            adc a,0                 ; 2
            ld d,a                  ; 1
            inc hl                  ; 2
            dec bc                  ; 2
            ld a,b                  ; 1
            or c                    ; 1
            jr nz,sum               ; 3 taken, 2 at the end
            ld (0x4000),de          ; 6
            ld hl,0x3000            ; 3
            ld bc,256               ; 3
            ld a,0xA5               ; 2
            cpir                    ; 6 per repeating pass, 4 for the last
            ld (0x4002),hl          ; 5
            halt                    ; 1, interrupts off: the machine stops
